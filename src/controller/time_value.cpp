#include "controller/time_value.h"

#include "sys/check.h"
#include "transport/attached.h"

#include <iterator>

namespace {

// A time value without a flag of its own.
constexpr bool JSC_TimeValueType::*kNoFlag = nullptr;

struct TimeValue {
    wallclock_t JSC_TimeValueType::*value;
    bool JSC_TimeValueType::*forever;
    uint32_t initial_us;
};

using Values = JSC_TimeValueType;

// By time type, from type 1 on.
constexpr TimeValue kTimeValues[] = {
    {&Values::controlPropagateValue, kNoFlag, 500},
    {&Values::cablePropagateValue, kNoFlag, 10'000},
    {&Values::errorPropagateValue, kNoFlag, 10'000},
    {&Values::pulseWidthValue, kNoFlag, 500},
    {&Values::pulseRecoveryValue, kNoFlag, 10'000},
    {&Values::podProgramOperateValue, kNoFlag, 0},
    {&Values::pllProgramOperateValue, kNoFlag, 2'000},
    {&Values::pllProgramSettleValue, kNoFlag, 10'000},
    {&Values::tclkoProgramStartValue, kNoFlag, 2'000},
    {&Values::tclkoProgramFinishValue, kNoFlag, 20'000},
    {&Values::tclkrMeasureStartValue, kNoFlag, 2'000},
    {&Values::tclkrMeasureFinishValue, kNoFlag, 20'000},
    {&Values::tclkoPeriodValue, &Values::tclkoPeriodForever, 500'000},
    {&Values::accessReadyValue, &Values::accessReadyForever, 500'000},
    {&Values::bufferOneValue, &Values::bufferOneForever, 500'000},
    {&Values::bufferManyValue, &Values::bufferManyForever, 500'000},
    {&Values::commandStartValue, &Values::commandStartForever, 2'000},
    {&Values::commandFinishValue, &Values::commandFinishForever, 500'000},
    {&Values::extraStartValue, &Values::extraStartForever, 2'000},
    {&Values::extraFinishValue, &Values::extraFinishForever, 20'000},
};
static_assert(std::size(kTimeValues) == eJSC_TIME_TYPE_INVALID_LAST - 1);

// Bits that every command is given on top of its own.
constexpr uint32_t kCommandBits = 16;
// Time-out units of one bit at one hertz, as a shift: 2,097,152.
constexpr uint32_t kUnitsPerBitShift = 21;

// Bits of the command in flight, all repeats together; wraps at 32 bits.
uint32_t command_length_bits(const JSC_Control& control) {
    const JSC_TimeDependancy& depend = control.timeDependOld;
    const JSC_JtagAmbleDelay& delay = control.ambleDelay;
    uint32_t bits = (depend.useMain ? depend.mainCount : 0) + delay.endDelay1 + kCommandBits;
    if (depend.useAmble) {
        bits += depend.useIrPath ? delay.posAmbleIR + delay.preAmbleIR
                                 : delay.posAmbleDR + delay.preAmbleDR;
    }
    return bits * depend.commandRepeat;
}

} // namespace

int32_t TimeValueInitial(JSC_Inform* pJscInform) {
    RETURN_ON_ERROR(check_attached(pJscInform));
    JSC_TimeValueType& values = pJscInform->pJscControl->timeValue;
    for (const TimeValue& entry : kTimeValues) {
        values.*entry.value = entry.initial_us;
        if (entry.forever != kNoFlag) {
            values.*entry.forever = pJscInform->tbcVariable.okStall;
        }
    }
    return eJTI_ERROR_NONE;
}

int32_t TimeValueApply(JSC_Inform* /*pJscInform*/) {
    return eJTI_ERROR_NONE;
}

int32_t TimeValueQuery(JSC_Inform* pJscInform, JSC_TimeType type, uint32_t* pValue,
                       bool* pForever) {
    RETURN_IF(pValue == nullptr || pForever == nullptr, eJTI_ERROR_NONE);
    *pValue = 0;
    *pForever = false;
    RETURN_ON_ERROR(check_attached(pJscInform));
    RETURN_IF(type <= eJSC_TIME_TYPE_INVALID_FIRST || type >= eJSC_TIME_TYPE_INVALID_LAST,
              eJTI_ERROR_BAD_ARGUMENT);
    const TimeValue& entry = kTimeValues[type - 1];
    const JSC_TimeValueType& values = pJscInform->pJscControl->timeValue;
    *pValue = values.*entry.value;
    *pForever = entry.forever != kNoFlag && values.*entry.forever;
    return eJTI_ERROR_NONE;
}

int32_t TimeValueQuery(JSC_Inform* pJscInform, JSC_TimeType type, uint32_t* pValue) {
    bool forever = false;
    return TimeValueQuery(pJscInform, type, pValue, &forever);
}

uint32_t TimeModifyTimeout(JSC_Inform* pJscInform) {
    RETURN_IF(check_attached(pJscInform) != eJTI_ERROR_NONE, 0);
    const JSC_Control& control = *pJscInform->pJscControl;
    const TBC_Variable& variable = pJscInform->tbcVariable;
    const uint32_t frequency_hz =
        variable.slowClock ? variable.slowFreq : control.timeDependOld.tclkFreq;
    RETURN_IF(frequency_hz == 0, 0);
    const uint64_t units = uint64_t{command_length_bits(control)} << kUnitsPerBitShift;
    return static_cast<uint32_t>(units / frequency_hz);
}

int32_t TimeModifyUpdate(JSC_Inform* pJscInform) {
    RETURN_ON_ERROR(check_attached(pJscInform));
    JSC_TimeDependancy& collected = pJscInform->pJscControl->timeDependNew;
    pJscInform->pJscControl->timeDependOld = collected;
    collected.useMain = false;
    collected.useAmble = false;
    collected.useIrPath = false;
    collected.mainCount = 0;
    collected.commandRepeat = 1;
    return eJTI_ERROR_NONE;
}
