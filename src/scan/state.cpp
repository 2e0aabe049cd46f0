#include "scan/state.h"

#include "controller/utility.h"
#include "controller/wait.h"
#include "scan/command.h"
#include "scan/link_delay.h"
#include "sys/check.h"
#include "transport/attached.h"
#include "transport/batch.h"
#include "transport/port.h"

const JSC_JtagState gLegacyToJtagState[8] = {
    eJSC_JTAG_STATE_RESET,    eJSC_JTAG_STATE_RESET,    eJSC_JTAG_STATE_IDLE,
    eJSC_JTAG_STATE_IDLE,     eJSC_JTAG_STATE_SHIFT_DR, eJSC_JTAG_STATE_SHIFT_IR,
    eJSC_JTAG_STATE_PAUSE_DR, eJSC_JTAG_STATE_PAUSE_IR,
};

namespace {

// A go-to once the controller is idle; none for the transit word 0.
JTI_Error go_to_when_idle(JSC_Inform* pJscInform, uint16_t transit, uint16_t state) {
    RETURN_IF(transit == TBC_TRANSIT_QUICKEST, eJTI_ERROR_NONE);
    RETURN_ON_ERROR(WaitForTbcDone(pJscInform));
    return DoLaunchGoTo(pJscInform, transit, state);
}

} // namespace

int32_t jsc_GetState(JSC_Inform* pJscInform, JSC_JtagState* pState) {
    RETURN_IF(pJscInform == nullptr || pState == nullptr, eJTI_ERROR_BAD_ARGUMENT);
    *pState = eJSC_JTAG_STATE_INVALID_FIRST;
    RETURN_ON_ERROR(check_attached(pJscInform));
    uint16_t* code = &pJscInform->ownReads.word;
    RETURN_ON_ERROR(WaitForTbcDone(pJscInform));
    RETURN_ON_ERROR(PortRead(pJscInform, TBC_PORT_TAP_STATE, code));
    RETURN_ON_ERROR(qel_PerformIo(pJscInform));
    *pState = gLegacyToJtagState[*code & TBC_STATE_MASK];
    return eJTI_ERROR_NONE;
}

int32_t jsc_PutState(JSC_Inform* pJscInform, const JSC_JtagCommand* pCommand,
                     uint32_t /*delayCount*/, uint32_t repeatCount) {
    RETURN_ON_ERROR(check_attached(pJscInform));
    uint16_t before = 0;
    uint16_t path = 0;
    uint16_t after = 0;
    uint16_t end = 0;
    RETURN_ON_ERROR(DoCheckCommand(pCommand));
    RETURN_ON_ERROR(DoStateCommand(pCommand, false, 0, &before, &path, &after, &end));
    RETURN_ON_ERROR(WaitForTbcDone(pJscInform));
    RETURN_IF(repeatCount == 0, eJTI_ERROR_BAD_ARGUMENT);
    for (uint32_t repeat = 0; repeat < repeatCount; ++repeat) {
        RETURN_ON_ERROR(go_to_when_idle(pJscInform, before, path));
        RETURN_ON_ERROR(go_to_when_idle(pJscInform, after, end));
        RETURN_ON_ERROR(batch_failure(pJscInform));
    }
    return eJTI_ERROR_NONE;
}

int32_t jsc_WaitForTclk(JSC_Inform* pJscInform, uint32_t periodDelay) {
    RETURN_IF(pJscInform == nullptr, eJTI_ERROR_BAD_ARGUMENT);
    RETURN_IF(periodDelay == 0, eJTI_ERROR_NONE);
    RETURN_ON_ERROR(check_attached(pJscInform));
    // Once for odd and twice for even counts, not once a period: hosts have been timed with it.
    const uint32_t settles = ((periodDelay - 1) & 1) + 1;
    for (uint32_t settle = 0; settle < settles; ++settle) {
        WaitAWhileTbc(pJscInform);
    }
    return batch_failure(pJscInform);
}

int32_t jsc_HoldFreeOuts(JSC_Inform* pJscInform, bool /*holdTclk*/, bool /*holdTrst*/, bool holdTms,
                         bool /*holdTdo*/) {
    RETURN_ON_ERROR(check_attached(pJscInform));
    RETURN_ON_ERROR(WaitForTbcDone(pJscInform));
    PortWrite(pJscInform, TBC_PORT_OUTPUT, holdTms ? 0 : TBC_OUTPUT_CONNECTED);
    return batch_failure(pJscInform);
}

int32_t jsc_TimingEdge(JSC_Inform* pJscInform, bool outputFall, bool inputFall) {
    RETURN_ON_ERROR(check_attached(pJscInform));
    RETURN_ON_ERROR(WaitForTbcDone(pJscInform));
    RETURN_ON_ERROR(util_TimingConfig(pJscInform, outputFall, inputFall));
    RETURN_ON_ERROR(SaveTimingLinkDelay(pJscInform, outputFall, inputFall));
    uint32_t applied = 0xFFFFFFFF;
    RETURN_ON_ERROR(ModifyActualLinkDelay(pJscInform, LINK_DELAY_MAXIMUM, &applied));
    return batch_failure(pJscInform);
}
