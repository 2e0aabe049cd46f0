#include "controller/utility.h"

#include "hardware/pod_revision.h"
#include "sys/check.h"
#include "sys/clock.h"
#include "transport/attached.h"
#include "transport/batch.h"
#include "transport/port.h"
#include "transport/proxy_channel.h"

namespace {

// What old pods need after a pulse of the clear line.
constexpr uint32_t kClearRecoveryUs = 10'000;

constexpr uint32_t kHalfBits = 16;

template <typename... Output>
int32_t check_outputs(const JSC_Inform* pJscInform, const Output*... outputs) {
    RETURN_IF(pJscInform == nullptr || (... || (outputs == nullptr)), eJTI_ERROR_BAD_ARGUMENT);
    return eJTI_ERROR_NONE;
}

// The same, for operations that look at the controller block.
template <typename... Output>
int32_t check_control(const JSC_Inform* pJscInform, const Output*... outputs) {
    RETURN_ON_ERROR(check_outputs(pJscInform, outputs...));
    return check_attached(pJscInform);
}

bool status_bit(const JSC_Inform* pJscInform, uint16_t bit) {
    return (pJscInform->pJscControl->StatusCache & bit) != 0;
}

uint32_t pod_revision(const JSC_Inform* pJscInform) {
    return pJscInform->pJscControl->emuRevision;
}

// `word` with `bits` set or cleared.
uint16_t with_bits(uint16_t word, uint16_t bits, bool set) {
    return static_cast<uint16_t>(set ? word | bits : word & ~bits);
}

// Reads a register and flushes, also when the cache answers. The word stands in the handle: a read
// that stays listed after a failed flush is filled by a later one.
int32_t read_flushed(JSC_Inform* pJscInform, uint16_t port, uint16_t* pWord) {
    uint16_t& word = pJscInform->ownReads.word;
    word = 0;
    RETURN_ON_ERROR(PortRead(pJscInform, port, &word));
    RETURN_ON_ERROR(qel_PerformIo(pJscInform));
    *pWord = word;
    return eJTI_ERROR_NONE;
}

} // namespace

int32_t util_EventInform(JSC_Inform* pJscInform, bool* pEvent3Enable, bool* pEvent2Enable,
                         bool* pEvent3Value, bool* pEvent2Value) {
    RETURN_ON_ERROR(
        check_outputs(pJscInform, pEvent3Enable, pEvent2Enable, pEvent3Value, pEvent2Value));
    *pEvent3Enable = true;
    *pEvent2Enable = true;
    *pEvent3Value = true;
    *pEvent2Value = true;
    return eJTI_ERROR_NONE;
}

int32_t util_PinsInform(JSC_Inform* pJscInform, bool* pUseClockOutOff, bool* pUseDataInFall,
                        bool* pUseEventInFall) {
    RETURN_ON_ERROR(check_outputs(pJscInform, pUseClockOutOff, pUseDataInFall, pUseEventInFall));
    *pUseClockOutOff = false;
    *pUseDataInFall = false;
    *pUseEventInFall = false;
    return eJTI_ERROR_NONE;
}

int32_t util_ModeConfig(JSC_Inform* pJscInform, bool slowMode, bool fastMode) {
    RETURN_ON_ERROR(check_control(pJscInform));
    pJscInform->pJscControl->slowMode = slowMode;
    pJscInform->pJscControl->fastMode = fastMode;
    return eJTI_ERROR_NONE;
}

int32_t util_ResetStatus(JSC_Inform* pJscInform, bool* pResetStatus) {
    RETURN_ON_ERROR(check_control(pJscInform, pResetStatus));
    *pResetStatus = status_bit(pJscInform, SUPPORT_RESET);
    return eJTI_ERROR_NONE;
}

int32_t util_ResetConfig(JSC_Inform* pJscInform, bool resetConfig) {
    RETURN_ON_ERROR(check_control(pJscInform));
    RETURN_ON_ERROR(qel_PerformIo(pJscInform));
    JSC_Control* const control = pJscInform->pJscControl;
    const uint16_t support = with_bits(control->StatusCache, SUPPORT_RESET, resetConfig);
    RETURN_ON_ERROR(wr_supp_reg(pJscInform, support));
    control->StatusCache = support;
    if (resetConfig) {
        LoadZeroIntoCache(pJscInform);
    }
    return eJTI_ERROR_NONE;
}

int32_t util_TrstStatus(JSC_Inform* pJscInform, bool* pTrstStatus) {
    RETURN_ON_ERROR(check_control(pJscInform, pTrstStatus));
    *pTrstStatus = status_bit(pJscInform, SUPPORT_CONDITION);
    return eJTI_ERROR_NONE;
}

int32_t util_TrstConfig(JSC_Inform* pJscInform, bool trstConfig) {
    RETURN_ON_ERROR(check_control(pJscInform));
    RETURN_ON_ERROR(qel_PerformIo(pJscInform));
    if (status_bit(pJscInform, SUPPORT_CONDITION) != trstConfig) {
        return eJTI_ERROR_NONE;
    }
    uint16_t pod_control = 0;
    RETURN_ON_ERROR(read_flushed(pJscInform, TBC_PORT_POD_CONTROL, &pod_control));
    pod_control = with_bits(pod_control, TBC_POD_EVENT3 | TBC_POD_EVENT2, true);
    PortWrite(pJscInform, TBC_PORT_POD_CONTROL, with_bits(pod_control, TBC_POD_CLEAR, false));
    PortWrite(pJscInform, TBC_PORT_POD_CONTROL, with_bits(pod_control, TBC_POD_CLEAR, true));
    RETURN_ON_ERROR(qel_PerformIo(pJscInform));
    if (!pod_needs_clear_recovery(pod_revision(pJscInform))) {
        return eJTI_ERROR_NONE;
    }
    sys_TimeWaitForTime(kClearRecoveryUs);
    PortWrite(pJscInform, TBC_PORT_STATUS0, 0);
    return qel_PerformIo(pJscInform);
}

int32_t util_UtilityRevise(JSC_Inform* pJscInform, uint32_t* pReviseStatus) {
    RETURN_ON_ERROR(check_control(pJscInform, pReviseStatus));
    const int inverted = ~pJscInform->pJscControl->StatusCache & SUPPORT_REVISION_MASK;
    *pReviseStatus = static_cast<uint32_t>(inverted >> SUPPORT_REVISION_SHIFT) + 1;
    return eJTI_ERROR_NONE;
}

int32_t util_DelayInform(JSC_Inform* pJscInform, uint32_t* pLinkDelay) {
    RETURN_ON_ERROR(check_outputs(pJscInform, pLinkDelay));
    *pLinkDelay = LINK_DELAY_DEFAULT;
    return eJTI_ERROR_NONE;
}

int32_t util_CableStatus(JSC_Inform* pJscInform, JSC_PodStatus* pPodStatus) {
    RETURN_ON_ERROR(check_control(pJscInform, pPodStatus));
    pPodStatus->nearStatus = false;
    pPodStatus->farStatus = false;
    pPodStatus->powerStatus = status_bit(pJscInform, SUPPORT_CONDITION);
    pPodStatus->clockStatus = pod_has_clock_lost_bit(pod_revision(pJscInform)) &&
                              status_bit(pJscInform, SUPPORT_CLOCK_LOST);
    return eJTI_ERROR_NONE;
}

int32_t util_CableClear(JSC_Inform* pJscInform, JSC_PodStatus* pPodClear) {
    RETURN_ON_ERROR(check_outputs(pJscInform, pPodClear));
    if (pPodClear->powerStatus || pPodClear->clockStatus) {
        return util_TrstConfig(pJscInform, true);
    }
    return eJTI_ERROR_NONE;
}

int32_t util_TimingConfig(JSC_Inform* pJscInform, bool /*tdoEdgeFall*/, bool /*tdiEdgeFall*/) {
    // Kept: hosts pass edges of their own, but the pod's edge belongs to the configuration.
    RETURN_ON_ERROR(check_control(pJscInform));
    uint16_t pod_control = 0;
    RETURN_ON_ERROR(read_flushed(pJscInform, TBC_PORT_POD_CONTROL, &pod_control));
    pod_control = with_bits(pod_control, TBC_POD_TDO_EDGE, pJscInform->qelVariable.tdoedge);
    PortWrite(pJscInform, TBC_PORT_POD_CONTROL, with_bits(pod_control, TBC_POD_EVENT3, true));
    return qel_PerformIo(pJscInform);
}

int32_t util_OutputConfig(JSC_Inform* pJscInform, bool /*outputConfig*/) {
    return check_outputs(pJscInform);
}

int32_t util_DisconStatus(JSC_Inform* pJscInform, bool* pDisconStatus) {
    RETURN_ON_ERROR(check_control(pJscInform, pDisconStatus));
    uint16_t output = 0;
    RETURN_ON_ERROR(read_flushed(pJscInform, TBC_PORT_OUTPUT, &output));
    *pDisconStatus = (output & TBC_OUTPUT_CONNECTED) == 0;
    return eJTI_ERROR_NONE;
}

int32_t util_DisconConfig(JSC_Inform* pJscInform, bool disconConfig) {
    RETURN_ON_ERROR(check_control(pJscInform));
    uint16_t output = 0;
    RETURN_ON_ERROR(read_flushed(pJscInform, TBC_PORT_OUTPUT, &output));
    PortWrite(pJscInform, TBC_PORT_OUTPUT, with_bits(output, TBC_OUTPUT_CONNECTED, !disconConfig));
    return batch_failure(pJscInform);
}

int32_t util_EmuRead(JSC_Inform* pJscInform, bool* pEmuPin1, bool* pEmuPin0) {
    RETURN_ON_ERROR(check_control(pJscInform, pEmuPin1, pEmuPin0));
    uint16_t status = 0;
    RETURN_ON_ERROR(read_flushed(pJscInform, TBC_PORT_STATUS1, &status));
    *pEmuPin1 = (status & TBC_STATUS1_EMU1) != 0;
    *pEmuPin0 = (status & TBC_STATUS1_EMU0) != 0;
    return eJTI_ERROR_NONE;
}

int32_t util_BenchMarkConfig(JSC_Inform* pJscInform, bool eventPinChoice, bool eventPinRise) {
    RETURN_ON_ERROR(check_control(pJscInform));
    PortWrite(pJscInform, TBC_PORT_LIMIT_LOW, TBC_EVENT_LIMIT);
    PortWrite(pJscInform, TBC_PORT_LIMIT_HIGH, TBC_EVENT_LIMIT);
    uint16_t control = 0;
    RETURN_ON_ERROR(read_flushed(pJscInform, TBC_PORT_EVENT_CONTROL, &control));
    uint16_t chosen = with_bits(TBC_EVENT_BASE, TBC_EVENT_PIN1, eventPinChoice);
    chosen = with_bits(chosen, TBC_EVENT_RISE, eventPinRise);
    PortWrite(pJscInform, TBC_PORT_EVENT_CONTROL, with_bits(control, TBC_EVENT_START, false));
    PortWrite(pJscInform, TBC_PORT_EVENT_CONTROL, chosen);
    PortWrite(pJscInform, TBC_PORT_EVENT_CONTROL, with_bits(chosen, TBC_EVENT_START, true));
    return qel_PerformIo(pJscInform);
}

int32_t util_BenchMarkStatus(JSC_Inform* pJscInform, bool /*eventPinChoice*/,
                             uint32_t* pEventPinCount) {
    RETURN_ON_ERROR(check_control(pJscInform, pEventPinCount));
    *pEventPinCount = 0;
    OwnReads& halves = pJscInform->ownReads;
    halves.word = 0;
    halves.second = 0;
    PortWrite(pJscInform, TBC_PORT_COMMAND, TBC_COMMAND_LATCH);
    RETURN_ON_ERROR(PortRead(pJscInform, TBC_PORT_EVENT_LOW, &halves.word));
    RETURN_ON_ERROR(PortRead(pJscInform, TBC_PORT_EVENT_HIGH, &halves.second));
    RETURN_ON_ERROR(qel_PerformIo(pJscInform));
    PortWrite(pJscInform, TBC_PORT_COMMAND, TBC_COMMAND_RELEASE);
    *pEventPinCount = uint32_t{halves.second} << kHalfBits | halves.word;
    return batch_failure(pJscInform);
}
