#include "scan/trst.h"

#include "controller/time_value.h"
#include "controller/utility.h"
#include "controller/wait.h"
#include "log/store.h"
#include "sys/check.h"
#include "sys/clock.h"
#include "transport/attached.h"

namespace {

constexpr uint32_t kLevelLow = 0;
constexpr uint32_t kLevelHigh = 1;

void set_level(JSC_Inform* pJscInform, uint32_t level) {
    (void)jsc_ModifyTrstn(pJscInform, eJSC_JTAG_PIN_SET_LEVEL, level, 0);
}

} // namespace

int32_t jsc_StatusTrstn(JSC_Inform* pJscInform, bool* pPinTRSTn) {
    RETURN_IF(pJscInform == nullptr || pPinTRSTn == nullptr, eJTI_ERROR_BAD_ARGUMENT);
    RETURN_ON_ERROR(check_attached(pJscInform));
    bool asserted = false;
    RETURN_ON_ERROR(util_TrstStatus(pJscInform, &asserted));
    *pPinTRSTn = !asserted;
    return eJTI_ERROR_NONE;
}

int32_t jsc_ModifyTrstn(JSC_Inform* pJscInform, JSC_JtagPin jtagPin, uint32_t parameter1,
                        uint32_t /*parameter2*/) {
    RETURN_IF(pJscInform == nullptr || jtagPin != eJSC_JTAG_PIN_SET_LEVEL, eJTI_ERROR_BAD_ARGUMENT);
    RETURN_ON_ERROR(check_attached(pJscInform));
    uint32_t recovery_us = 0;
    RETURN_ON_ERROR(TimeValueQuery(pJscInform, eJSC_TIME_TYPE_PULSE_RECOVERY, &recovery_us));
    RETURN_ON_ERROR(WaitForTbcDone(pJscInform));
    RETURN_ON_ERROR(util_TrstConfig(pJscInform, parameter1 == kLevelLow));
    sys_TimeWaitForTime(recovery_us);
    return eJTI_ERROR_NONE;
}

int32_t tbc_TrstnStuff(JSC_Inform* pJscInform, bool toggleTrstn, bool useLogFile) {
    bool high = false;
    RETURN_ON_ERROR(jsc_StatusTrstn(pJscInform, &high));
    VexilResetLogIndex done = RSTLOG_SCAN_PATH_TRST_NEGATE;
    if (high) {
        RETURN_IF(!toggleTrstn, eJTI_ERROR_NONE);
        done = RSTLOG_SCAN_PATH_TRST_TOGGLE;
        set_level(pJscInform, kLevelLow);
    }
    set_level(pJscInform, kLevelHigh);
    RETURN_IF(!useLogFile, eJTI_ERROR_NONE);
    return zdl_LogFileBasic(pJscInform->resetLogHandle, static_cast<uint32_t>(done));
}
