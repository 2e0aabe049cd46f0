#include "scan/command.h"

#include "controller/time_value.h"
#include "sys/check.h"
#include "transport/attached.h"
#include "transport/port.h"

namespace {

static_assert((TBC_TRANSIT_VIA_IDLE & TBC_TRANSIT_IDLE_MASK) >> TBC_TRANSIT_IDLE_SHIFT ==
                  JSC_IDLE_TRANSIT_CLOCKS,
              "hosts are told how many clocks the transit word spends");

bool is_transit(JSC_JtagTransit transit) {
    return transit > eJSC_JTAG_TRANSIT_INVALID_FIRST && transit < eJSC_JTAG_TRANSIT_INVALID_LAST;
}

bool is_shift(JSC_JtagShift shift) {
    return shift > eJSC_JTAG_SHIFT_INVALID_FIRST && shift < eJSC_JTAG_SHIFT_INVALID_LAST;
}

bool is_state(JSC_JtagState state) {
    return state > eJSC_JTAG_STATE_INVALID_FIRST && state < eJSC_JTAG_STATE_INVALID_LAST &&
           state != eJSC_JTAG_STATE_INVALID_MIDDLE;
}

// Transit word that opens a command.
JTI_Error before_command(JSC_JtagTransit before, uint16_t* pWord) {
    switch (before) {
    case eJSC_JTAG_TRANSIT_INVALID_FIRST: // no shift
    case eJSC_JTAG_TRANSIT_QUICKEST:
        *pWord = TBC_TRANSIT_QUICKEST;
        return eJTI_ERROR_NONE;
    case eJSC_JTAG_TRANSIT_VIA_CAPTURE:
        *pWord = TBC_TRANSIT_VIA_CAPTURE;
        return eJTI_ERROR_NONE;
    case eJSC_JTAG_TRANSIT_VIA_IDLE:
        *pWord = TBC_TRANSIT_VIA_IDLE;
        return eJTI_ERROR_NONE;
    default:
        return eJTI_ERROR_BAD_ARGUMENT;
    }
}

// Transit word that closes a command. QUICKEST closes as VIA_CAPTURE does, unlike the opening:
// a state move by QUICKEST is a go-to that is really issued, and hosts rely on it.
JTI_Error after_command(JSC_JtagTransit after, uint16_t* pWord) {
    switch (after) {
    case eJSC_JTAG_TRANSIT_QUICKEST:
    case eJSC_JTAG_TRANSIT_VIA_CAPTURE:
        *pWord = TBC_TRANSIT_VIA_CAPTURE;
        return eJTI_ERROR_NONE;
    case eJSC_JTAG_TRANSIT_VIA_IDLE:
        *pWord = TBC_TRANSIT_VIA_IDLE;
        return eJTI_ERROR_NONE;
    default:
        return eJTI_ERROR_BAD_ARGUMENT;
    }
}

// Path code of a shift; 0 for a command without one.
JTI_Error path_state(const JSC_JtagCommand& command, bool valid_index, uint32_t shift_index,
                     uint16_t* pState) {
    if (command.jtagBefore == eJSC_JTAG_TRANSIT_INVALID_FIRST) {
        *pState = 0;
        return command.jtagShift == eJSC_JTAG_SHIFT_INVALID_FIRST ? eJTI_ERROR_NONE
                                                                  : eJTI_ERROR_BAD_ARGUMENT;
    }
    switch (command.jtagShift) {
    case eJSC_JTAG_SHIFT_DR:
        *pState = TBC_STATE_PAUSE_DR;
        return eJTI_ERROR_NONE;
    case eJSC_JTAG_SHIFT_IR:
        *pState = TBC_STATE_PAUSE_IR;
        return eJTI_ERROR_NONE;
    case eJSC_JTAG_SHIFT_INDEX:
        *pState = shift_index == 0 ? TBC_STATE_PAUSE_IR : TBC_STATE_PAUSE_DR;
        return valid_index ? eJTI_ERROR_NONE : eJTI_ERROR_BAD_ARGUMENT;
    default:
        return eJTI_ERROR_BAD_ARGUMENT;
    }
}

// Code of the end state: only the states that hold and are no shift.
JTI_Error end_state(JSC_JtagState end, uint16_t* pState) {
    switch (end) {
    case eJSC_JTAG_STATE_RESET:
        *pState = TBC_STATE_RESET;
        return eJTI_ERROR_NONE;
    case eJSC_JTAG_STATE_IDLE:
        *pState = TBC_STATE_IDLE;
        return eJTI_ERROR_NONE;
    case eJSC_JTAG_STATE_PAUSE_DR:
        *pState = TBC_STATE_PAUSE_DR;
        return eJTI_ERROR_NONE;
    case eJSC_JTAG_STATE_PAUSE_IR:
        *pState = TBC_STATE_PAUSE_IR;
        return eJTI_ERROR_NONE;
    default:
        return eJTI_ERROR_BAD_ARGUMENT;
    }
}

// Bits of a host word; 0 for width 1 or none.
uint32_t width_bits(JSC_JtagWidth width) {
    switch (width) {
    case eJSC_JTAG_WIDTH_8:
        return 8;
    case eJSC_JTAG_WIDTH_16:
        return 16;
    case eJSC_JTAG_WIDTH_32:
        return 32;
    case eJSC_JTAG_WIDTH_64:
        return 64;
    default:
        return 0;
    }
}

} // namespace

int32_t DoCheckCommand(const JSC_JtagCommand* pCommand) {
    RETURN_IF(pCommand == nullptr, eJTI_ERROR_BAD_ARGUMENT);
    const bool shifts = pCommand->jtagBefore != eJSC_JTAG_TRANSIT_INVALID_FIRST;
    const bool opens_right = shifts
                                 ? is_transit(pCommand->jtagBefore) && is_shift(pCommand->jtagShift)
                                 : pCommand->jtagShift == eJSC_JTAG_SHIFT_INVALID_FIRST;
    const bool closes_right = is_transit(pCommand->jtagAfter) && is_state(pCommand->jtagEnd);
    return opens_right && closes_right ? eJTI_ERROR_NONE : eJTI_ERROR_BAD_ARGUMENT;
}

int32_t DoStateCommand(const JSC_JtagCommand* pCommand, bool validIndex, uint32_t shiftIndex,
                       uint16_t* pBeforeCommand, uint16_t* pBeforeState, uint16_t* pAfterCommand,
                       uint16_t* pAfterEndState) {
    RETURN_IF(pCommand == nullptr || pBeforeCommand == nullptr || pBeforeState == nullptr ||
                  pAfterCommand == nullptr || pAfterEndState == nullptr,
              eJTI_ERROR_BAD_ARGUMENT);
    *pBeforeCommand = 0;
    *pBeforeState = 0;
    *pAfterCommand = 0;
    *pAfterEndState = 0;
    uint16_t before = 0;
    uint16_t path = 0;
    uint16_t after = 0;
    uint16_t end = 0;
    RETURN_ON_ERROR(before_command(pCommand->jtagBefore, &before));
    RETURN_ON_ERROR(path_state(*pCommand, validIndex, shiftIndex, &path));
    RETURN_ON_ERROR(after_command(pCommand->jtagAfter, &after));
    RETURN_ON_ERROR(end_state(pCommand->jtagEnd, &end));
    *pBeforeCommand = before;
    *pBeforeState = path;
    *pAfterCommand = after;
    *pAfterEndState = end;
    return eJTI_ERROR_NONE;
}

int32_t DoLaunchGoTo(JSC_Inform* pJscInform, uint16_t state, uint16_t command) {
    RETURN_ON_ERROR(check_attached(pJscInform));
    JSC_Control* control = pJscInform->pJscControl;
    PortWrite(pJscInform, TBC_PORT_OPERATION, state | command);
    PortWrite(pJscInform, TBC_PORT_CONTROL, TBC_CONTROL_RUN);
    control->priorState = state;
    if (control->timeDependNew.slowMode) {
        (void)TimeModifyUpdate(pJscInform); // a scan launch honours the result, this one does not
    }
    return eJTI_ERROR_NONE;
}

int32_t DoLaunchScan(JSC_Inform* pJscInform, uint16_t wakeEndState, uint16_t scanOption) {
    RETURN_ON_ERROR(check_attached(pJscInform));
    JSC_Control* control = pJscInform->pJscControl;
    control->priorState = wakeEndState & TBC_STATE_MASK;
    if (control->timeDependNew.slowMode) {
        RETURN_ON_ERROR(TimeModifyUpdate(pJscInform));
    }
    PortWrite(pJscInform, TBC_PORT_OPERATION, wakeEndState | TBC_TRANSIT_SCAN);
    PortWrite(pJscInform, TBC_PORT_CONFIG, scanOption | control->priorConfig);
    PortWrite(pJscInform, TBC_PORT_CONTROL, TBC_CONTROL_EMPTY);
    PortWrite(pJscInform, TBC_PORT_CONTROL, TBC_CONTROL_RUN);
    control->priorTBC = true;
    return eJTI_ERROR_NONE;
}

int32_t DoAmbleCommand(JSC_Inform* pJscInform, const JSC_JtagCommand* pCommand, uint16_t wakeState,
                       uint32_t* pPreAmble, uint32_t* pPosAmble) {
    RETURN_IF(pPreAmble == nullptr || pPosAmble == nullptr || pCommand == nullptr,
              eJTI_ERROR_BAD_ARGUMENT);
    RETURN_ON_ERROR(check_attached(pJscInform));
    const JSC_JtagAmbleDelay& amble = pJscInform->pJscControl->ambleDelay;
    const bool ir_path = (wakeState & TBC_STATE_IR_PATH) != 0;
    const uint32_t before = ir_path ? amble.preAmbleIR : amble.preAmbleDR;
    const uint32_t behind = ir_path ? amble.posAmbleIR : amble.posAmbleDR;
    const JSC_JtagAmble choice = pCommand->jtagAmble;
    RETURN_IF(choice <= eJSC_JTAG_AMBLE_INVALID_FIRST || choice >= eJSC_JTAG_AMBLE_INVALID_LAST,
              eJTI_ERROR_BAD_ARGUMENT);
    const bool both = choice == eJSC_JTAG_AMBLE_BOTH;
    *pPreAmble = both || choice == eJSC_JTAG_AMBLE_PREAMBLE ? before : 0;
    *pPosAmble = both || choice == eJSC_JTAG_AMBLE_POSTAMBLE ? behind : 0;
    return eJTI_ERROR_NONE;
}

int32_t DoInterestCommand(JSC_Inform* pJscInform, const JSC_JtagCommand* pCommand,
                          const JSC_JtagParam* pParam, uint32_t* pMainCount) {
    RETURN_IF(pCommand == nullptr || pParam == nullptr || pMainCount == nullptr,
              eJTI_ERROR_BAD_ARGUMENT);
    RETURN_ON_ERROR(check_attached(pJscInform));
    const bool ir_path = pCommand->jtagShift == eJSC_JTAG_SHIFT_IR;
    RETURN_IF(!ir_path && pCommand->jtagShift != eJSC_JTAG_SHIFT_DR, eJTI_ERROR_BAD_ARGUMENT);
    JSC_TimeDependancy& depend = pJscInform->pJscControl->timeDependNew;
    if (depend.slowMode) {
        depend.useMain = true;
        depend.useAmble = false;
        depend.useIrPath = ir_path;
        depend.mainCount = pParam->shiftCount;
        depend.commandRepeat = 1;
    }
    *pMainCount = pParam->shiftCount;
    return eJTI_ERROR_NONE;
}

void DoStepCalculate(const JSC_JtagCommand* pCommand, uint32_t shiftCount, uint32_t* pRepeatStep) {
    if (pCommand == nullptr || pRepeatStep == nullptr) {
        return;
    }
    const uint32_t bits = width_bits(pCommand->jtagWidth);
    if (bits != 0) {
        *pRepeatStep = (shiftCount + (bits - 1)) / bits;
    }
}

void DoModifyPointer(const JSC_JtagCommand* pCommand, void** ppData, uint32_t repeatStep) {
    if (pCommand == nullptr || ppData == nullptr) {
        return;
    }
    const size_t word_bytes = width_bits(pCommand->jtagWidth) / 8;
    *ppData = static_cast<unsigned char*>(*ppData) + repeatStep * word_bytes;
}
