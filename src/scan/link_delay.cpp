#include "scan/link_delay.h"

#include "controller/utility.h"
#include "sys/check.h"
#include "transport/attached.h"
#include "transport/batch.h"
#include "transport/port.h"

namespace {

constexpr uint32_t kNoDelay = 0xFFFFFFFF;

// Base, delta and timing together. Unsigned, so that a negative sum wraps before the modulo.
uint32_t delay_sum(const JSC_Control& control) {
    return static_cast<uint32_t>(control.linkDelta) + static_cast<uint32_t>(control.linkTiming) +
           control.linkDelay;
}

// Deltas come from the host and from the configuration, and wrap.
void add_delta(JSC_Control& control, int32_t change) {
    control.linkDelta = static_cast<int32_t>(static_cast<uint32_t>(control.linkDelta) +
                                             static_cast<uint32_t>(change));
}

} // namespace

int32_t jsc_GetLinkDelay(JSC_Inform* pJscInform, uint32_t* pDefaultDelay, uint32_t* pMaximumDelay,
                         uint32_t* pActualDelay) {
    RETURN_ON_ERROR(check_attached(pJscInform));
    RETURN_IF(pDefaultDelay == nullptr || pMaximumDelay == nullptr || pActualDelay == nullptr,
              eJTI_ERROR_BAD_ARGUMENT);
    RETURN_ON_ERROR(util_DelayInform(pJscInform, pDefaultDelay));
    *pMaximumDelay = LINK_DELAY_MAXIMUM;
    *pActualDelay = delay_sum(*pJscInform->pJscControl);
    return eJTI_ERROR_NONE;
}

int32_t jsc_PutLinkDelay(JSC_Inform* pJscInform, int32_t modifyDelay) {
    RETURN_ON_ERROR(check_attached(pJscInform));
    add_delta(*pJscInform->pJscControl, modifyDelay);
    uint32_t applied = 0;
    RETURN_ON_ERROR(ModifyActualLinkDelay(pJscInform, LINK_DELAY_MAXIMUM, &applied));
    return batch_failure(pJscInform);
}

int32_t WriteLinkDelay(JSC_Inform* pJscInform, uint32_t writeDelay) {
    RETURN_ON_ERROR(check_attached(pJscInform));
    uint16_t& config = pJscInform->pJscControl->priorConfig;
    config = static_cast<uint16_t>((config & ~TBC_CONFIG_LINK_MASK) |
                                   (writeDelay & TBC_CONFIG_LINK_MASK));
    PortWrite(pJscInform, TBC_PORT_CONFIG, config);
    return eJTI_ERROR_NONE;
}

int32_t SaveVariableLinkDelay(JSC_Inform* pJscInform, uint32_t defaultLinkDelay) {
    RETURN_ON_ERROR(check_attached(pJscInform));
    const TBC_Variable& variable = pJscInform->tbcVariable;
    JSC_Control& control = *pJscInform->pJscControl;
    control.linkDelay = variable.useLinkDelay ? variable.linkDelay : defaultLinkDelay;
    if (variable.useLinkDelta) {
        add_delta(control, variable.linkDelta);
    }
    return eJTI_ERROR_NONE;
}

int32_t SaveTimingLinkDelay(JSC_Inform* /*pJscInform*/, bool /*tdoEdgeFall*/,
                            bool /*tdiEdgeFall*/) {
    return eJTI_ERROR_NONE;
}

int32_t ModifyActualLinkDelay(JSC_Inform* pJscInform, uint32_t maximumLinkDelay,
                              uint32_t* pActualLinkDelay) {
    RETURN_IF(pJscInform == nullptr || pActualLinkDelay == nullptr, eJTI_ERROR_BAD_ARGUMENT);
    *pActualLinkDelay = kNoDelay;
    RETURN_ON_ERROR(check_attached(pJscInform));
    const uint32_t sum = delay_sum(*pJscInform->pJscControl);
    const uint32_t modulus = maximumLinkDelay + 1;
    const uint32_t delay = modulus == 0 ? sum : sum % modulus;
    RETURN_ON_ERROR(WriteLinkDelay(pJscInform, delay));
    *pActualLinkDelay = delay;
    return eJTI_ERROR_NONE;
}
