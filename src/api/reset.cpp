#include "api/reset.h"

#include "api/reset_log.h"
#include "controller/detect.h"
#include "controller/utility.h"
#include "controller/wait.h"
#include "log/store.h"
#include "scan/link_delay.h"
#include "scan/state.h"
#include "scan/trst.h"
#include "sys/check.h"
#include "transport/attached.h"
#include "transport/batch.h"
#include "transport/port.h"

namespace {

constexpr int kSettlesAfterReset = 8;

// What the steps of a long initialisation hand on.
struct LongInit {
    const JSC_ResetAction& action;
    LogFileInfo& info;
    bool done_trstn;
    bool reset_was_asserted;  // found by the resets
    JSC_JtagState tap_before; // where a hidden reset puts the TAP back
};

JTI_Error move_tap(JSC_Inform* pJscInform, JSC_JtagState end) {
    JSC_JtagCommand command{};
    command.jtagAfter = eJSC_JTAG_TRANSIT_QUICKEST;
    command.jtagEnd = end;
    return jsc_PutState(pJscInform, &command, 0, 1);
}

// Before a hidden reset: keep the TAP state and take the outputs off the target.
JTI_Error hide(JSC_Inform* pJscInform, LongInit& init) {
    RETURN_IF(!init.action.resetHidden, eJTI_ERROR_NONE);
    init.tap_before = eJSC_JTAG_STATE_RESET;
    if (WaitForTbcDone(pJscInform) == eJTI_ERROR_NONE) {
        RETURN_ON_ERROR(jsc_GetState(pJscInform, &init.tap_before));
    }
    bool disconnected = false;
    RETURN_ON_ERROR(util_DisconStatus(pJscInform, &disconnected));
    return disconnected ? eJTI_ERROR_NONE : util_DisconConfig(pJscInform, true);
}

// Behind a hidden reset.
JTI_Error reveal(JSC_Inform* pJscInform, LongInit& init) {
    RETURN_IF(!init.action.resetHidden, eJTI_ERROR_NONE);
    RETURN_ON_ERROR(move_tap(pJscInform, init.tap_before));
    RETURN_ON_ERROR(WaitForTbcDone(pJscInform));
    return util_DisconConfig(pJscInform, false);
}

JTI_Error release_reset(JSC_Inform* pJscInform) {
    LoadZeroIntoCache(pJscInform);
    return util_ResetConfig(pJscInform, false);
}

// A hard reset pulses the line twice, here and before; pods are known to need both.
JTI_Error reset_hard(JSC_Inform* pJscInform, LongInit& init) {
    if (init.action.resetHard) {
        init.info.requestResetHard = true;
        RETURN_ON_ERROR(tbc_StandardReset(pJscInform, init.action.resetHidden));
    }
    RETURN_ON_ERROR(util_ResetStatus(pJscInform, &init.reset_was_asserted));
    if (init.reset_was_asserted) {
        return release_reset(pJscInform);
    }
    if (init.action.resetHard) {
        RETURN_ON_ERROR(util_ResetConfig(pJscInform, true));
        return release_reset(pJscInform);
    }
    return eJTI_ERROR_NONE;
}

JTI_Error reset_soft(JSC_Inform* pJscInform, LongInit& init) {
    if (init.action.resetSoft) {
        init.info.requestResetSoft = true;
        PortWrite(pJscInform, TBC_PORT_CONTROL, TBC_CONTROL_RESET);
        LoadZeroIntoCache(pJscInform);
    } else if (!init.reset_was_asserted && !init.action.resetHard) {
        WaitAWhileTbc(pJscInform);
    }
    for (int settle = 0; settle < kSettlesAfterReset; ++settle) {
        WaitAWhileTbc(pJscInform);
    }
    return eJTI_ERROR_NONE;
}

JTI_Error read_emu_pins(JSC_Inform* pJscInform, LongInit& init) {
    uint16_t* status = &pJscInform->ownReads.word;
    PortWrite(pJscInform, TBC_PORT_CONTROL, TBC_CONTROL_PINS);
    RETURN_ON_ERROR(PortRead(pJscInform, TBC_PORT_STATUS1, status));
    RETURN_ON_ERROR(qel_PerformIo(pJscInform));
    init.info.emuPin0 = (*status & TBC_STATUS1_EMU0) != 0;
    init.info.emuPin1 = (*status & TBC_STATUS1_EMU1) != 0;
    return eJTI_ERROR_NONE;
}

JTI_Error set_events(JSC_Inform* pJscInform, LongInit& /*init*/) {
    bool enable3 = false;
    bool enable2 = false;
    bool value3 = false;
    bool value2 = false;
    RETURN_ON_ERROR(util_EventInform(pJscInform, &enable3, &enable2, &value3, &value2));
    const int control = (enable2 ? TBC_POD_EVENT2 : 0) | (enable3 ? TBC_POD_EVENT3 : 0) |
                        (value3 ? TBC_POD_TDO_EDGE : 0) | (value2 ? TBC_POD_CLEAR : 0);
    PortWrite(pJscInform, TBC_PORT_POD_CONTROL, static_cast<uint16_t>(control));
    return eJTI_ERROR_NONE;
}

JTI_Error set_edges(JSC_Inform* pJscInform, LongInit& /*init*/) {
    const TBC_Variable& variable = pJscInform->tbcVariable;
    RETURN_ON_ERROR(WaitForTbcDone(pJscInform));
    RETURN_ON_ERROR(util_TimingConfig(pJscInform, variable.tdoEdgeFall, variable.tdiEdgeFall));
    return SaveTimingLinkDelay(pJscInform, variable.tdoEdgeFall, variable.tdiEdgeFall);
}

JTI_Error power_is_lost(JSC_Inform* pJscInform, bool* pLost) {
    JSC_PodStatus status{};
    RETURN_ON_ERROR(util_CableStatus(pJscInform, &status));
    *pLost = status.powerStatus;
    return eJTI_ERROR_NONE;
}

// A power loss is cleared and remembered until an initialisation succeeds.
JTI_Error clear_power_loss(JSC_Inform* pJscInform, LongInit& init) {
    JSC_Control& control = *pJscInform->pJscControl;
    bool lost = false;
    RETURN_ON_ERROR(power_is_lost(pJscInform, &lost));
    control.powerLossActive = control.powerLossActive || lost;
    if (!control.powerLossActive) {
        init.info.powerLossPrior = control.powerLossErased;
        return eJTI_ERROR_NONE;
    }
    init.info.powerLossPrior = true;
    JSC_PodStatus clear{};
    clear.powerStatus = true;
    RETURN_ON_ERROR(util_CableClear(pJscInform, &clear));
    control.powerLossActive = false;
    control.powerLossErased = true;
    return eJTI_ERROR_NONE;
}

// After a power loss or a TRSTn pulse the TAP is taken to Test-Logic-Reset, unless a reset asked
// for has done so.
JTI_Error reset_tap(JSC_Inform* pJscInform, LongInit& init) {
    const JSC_Control& control = *pJscInform->pJscControl;
    const bool due = control.powerLossActive || control.powerLossErased || init.done_trstn;
    RETURN_IF(!due || init.action.resetHard || init.action.resetSoft, eJTI_ERROR_NONE);
    return move_tap(pJscInform, eJSC_JTAG_STATE_RESET);
}

JTI_Error check_power(JSC_Inform* pJscInform, LongInit& init) {
    bool lost = false;
    WaitAWhileTbc(pJscInform);
    RETURN_ON_ERROR(power_is_lost(pJscInform, &lost));
    RETURN_IF(!lost, eJTI_ERROR_NONE);
    pJscInform->pJscControl->powerLossActive = true;
    init.info.powerLossActive = true;
    return eJTI_ERROR_NO_POWER;
}

JTI_Error set_defaults(JSC_Inform* pJscInform, LongInit& /*init*/) {
    return tbc_InitShort(pJscInform);
}

JTI_Error set_pins(JSC_Inform* pJscInform, LongInit& /*init*/) {
    bool clock_out_off = false;
    bool data_fall = false;
    bool event_fall = false;
    RETURN_ON_ERROR(util_PinsInform(pJscInform, &clock_out_off, &data_fall, &event_fall));
    PortWrite(pJscInform, TBC_PORT_OUTPUT, TBC_OUTPUT_CONNECTED);
    PortWrite(pJscInform, TBC_PORT_CLOCK_OUT, clock_out_off ? TBC_CLOCK_OUT_OFF : 0);
    uint16_t& config = pJscInform->pJscControl->priorConfig;
    config = static_cast<uint16_t>(TBC_CONFIG_DEFAULT | (data_fall ? TBC_CONFIG_DATA_FALL : 0) |
                                   (event_fall ? TBC_CONFIG_EVENT_FALL : 0));
    PortWrite(pJscInform, TBC_PORT_CONFIG, config);
    return eJTI_ERROR_NONE;
}

JTI_Error set_link_delay(JSC_Inform* pJscInform, LongInit& init) {
    uint32_t normal = 0xFFFFFFFF;
    uint32_t applied = 0xFFFFFFFF;
    RETURN_ON_ERROR(util_DelayInform(pJscInform, &normal));
    RETURN_ON_ERROR(SaveVariableLinkDelay(pJscInform, normal));
    RETURN_ON_ERROR(ModifyActualLinkDelay(pJscInform, LINK_DELAY_MAXIMUM, &applied));
    init.info.linkDelay = applied;
    return eJTI_ERROR_NONE;
}

using LongInitStep = JTI_Error (*)(JSC_Inform* pJscInform, LongInit& init);

constexpr LongInitStep kLongInitSteps[] = {
    hide,      reset_hard,       reset_soft, read_emu_pins, set_events,
    set_edges, clear_power_loss, reset_tap,  check_power,   set_defaults,
    set_pins,  set_link_delay,   reveal,
};

// The extended controller wakes up through its own command register.
JTI_Error wake_extended(JSC_Inform* pJscInform) {
    PortWriteNoCache(pJscInform, TBC_PORT_EXTENDED, TBC_EXTENDED_RESET);
    WaitAWhileExl(pJscInform);
    PortWriteNoCache(pJscInform, TBC_PORT_EXTENDED, TBC_EXTENDED_LOAD);
    PortWriteNoCache(pJscInform, TBC_PORT_EXTENDED, TBC_EXTENDED_START);
    return WaitForExlDone(pJscInform);
}

} // namespace

int32_t jsc_Reset(JSC_Inform* pJscInform, JSC_ResetAction* pResetAction) {
    return tbc_HardwareInit(pJscInform, pResetAction);
}

int32_t tbc_HardwareInit(JSC_Inform* pJscInform, JSC_ResetAction* pResetAction) {
    RETURN_IF(pJscInform == nullptr || pResetAction == nullptr, eJTI_ERROR_BAD_ARGUMENT);
    RETURN_IF(pResetAction->trstAssert != pResetAction->trstNegate, eJTI_ERROR_BAD_ARGUMENT);
    RETURN_ON_ERROR(check_attached(pJscInform));
    const bool toggle = pResetAction->trstAssert;
    const bool verbose = pResetAction->verbose;
    LogFileInfo info{};
    zdl_LogFileErase(pJscInform->resetLogHandle, verbose);
    RETURN_ON_ERROR(tbc_TrstnStuff(pJscInform, toggle, verbose));
    if (!verbose) {
        return tbc_InitLong(pJscInform, toggle, &info, pResetAction);
    }
    RETURN_ON_ERROR(reset_log_open(pJscInform));
    RETURN_ON_ERROR(tbc_InitLong(pJscInform, toggle, &info, pResetAction));
    return reset_log_close(pJscInform, info);
}

int32_t tbc_InitLong(JSC_Inform* pJscInform, bool doneTrstn, LogFileInfo* pLogFileInfo,
                     JSC_ResetAction* pResetAction) {
    RETURN_IF(pLogFileInfo == nullptr || pResetAction == nullptr, eJTI_ERROR_BAD_ARGUMENT);
    RETURN_ON_ERROR(check_attached(pJscInform));
    LongInit init{*pResetAction, *pLogFileInfo, doneTrstn, false, eJSC_JTAG_STATE_RESET};
    for (const LongInitStep step : kLongInitSteps) {
        RETURN_ON_ERROR(step(pJscInform, init));
    }
    pJscInform->pJscControl->powerLossErased = false;
    return batch_failure(pJscInform);
}

int32_t tbc_InitShort(JSC_Inform* pJscInform) {
    RETURN_ON_ERROR(check_attached(pJscInform));
    if (CheckCtlrVersion(pJscInform) == eJTI_CONTROL_ID_EXL) {
        RETURN_ON_ERROR(wake_extended(pJscInform));
    }
    PortWrite(pJscInform, TBC_PORT_BOOT, 0);
    PortWrite(pJscInform, TBC_PORT_CONTROL, TBC_CONTROL_SHORT);
    PortWrite(pJscInform, TBC_PORT_COMMAND, TBC_COMMAND_RELEASE);
    PortWrite(pJscInform, TBC_PORT_EVENT_CONTROL, TBC_EVENT_BASE);
    PortWrite(pJscInform, TBC_PORT_COUNT_LOW, 0);
    PortWrite(pJscInform, TBC_PORT_COUNT_HIGH, 0);
    RETURN_ON_ERROR(WaitForTbcDone(pJscInform));
    PortWrite(pJscInform, TBC_PORT_CONTROL, TBC_CONTROL_IDLE);
    return batch_failure(pJscInform);
}

int32_t tbc_StandardReset(JSC_Inform* pJscInform, bool /*resetHidden*/) {
    RETURN_ON_ERROR(check_attached(pJscInform));
    RETURN_ON_ERROR(util_ResetConfig(pJscInform, true));
    return util_ResetConfig(pJscInform, false);
}

int32_t tbc_HardwareTerm(JSC_Inform* pJscInform) {
    RETURN_ON_ERROR(check_attached(pJscInform));
    RETURN_ON_ERROR(WaitForTbcDone(pJscInform));
    RETURN_ON_ERROR(util_ResetConfig(pJscInform, false));
    if (pJscInform->pJscControl->ctlrRevise != eJTI_CONTROL_ID_TBC) {
        PortWrite(pJscInform, TBC_PORT_EXTENDED, TBC_EXTENDED_RESET);
        WaitAWhileExl(pJscInform);
    }
    PortWrite(pJscInform, TBC_PORT_BOOT, 0);
    PortWrite(pJscInform, TBC_PORT_EVENT_CONTROL, 0);
    PortWrite(pJscInform, TBC_PORT_COMMAND, 0);
    return batch_failure(pJscInform);
}
