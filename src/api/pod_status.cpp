#include "api/pod_status.h"

#include "controller/time_value.h"
#include "controller/utility.h"
#include "sys/check.h"
#include "sys/clock.h"
#include "transport/attached.h"

namespace {

constexpr int kReadingsMost = 3;

void accumulate(JSC_PodStatus& all, const JSC_PodStatus& reading) {
    all.nearStatus = all.nearStatus || reading.nearStatus;
    all.farStatus = all.farStatus || reading.farStatus;
    all.powerStatus = all.powerStatus || reading.powerStatus;
    all.clockStatus = all.clockStatus || reading.clockStatus;
}

bool reports(const JSC_PodStatus& status) {
    return status.nearStatus || status.farStatus || status.powerStatus || status.clockStatus;
}

// Reads until a condition has had the time to show everything that goes with it.
JTI_Error read_conditions(JSC_Inform* pJscInform, JSC_PodStatus* pAll) {
    uint32_t settle_us = 0;
    for (int reading = 0; reading < kReadingsMost; ++reading) {
        JSC_PodStatus status{};
        RETURN_ON_ERROR(util_CableStatus(pJscInform, &status));
        accumulate(*pAll, status);
        RETURN_IF(!reports(*pAll), eJTI_ERROR_NONE);
        RETURN_ON_ERROR(TimeValueQuery(pJscInform, eJSC_TIME_TYPE_ERROR_PROPAGATE, &settle_us));
        sys_TimeWaitForTime(settle_us);
    }
    return eJTI_ERROR_NONE;
}

} // namespace

int32_t tbc_PodStatus(JSC_Inform* pJscInform, JSC_PodStatus* pPodStatus) {
    RETURN_IF(pJscInform == nullptr || pPodStatus == nullptr, eJTI_ERROR_BAD_ARGUMENT);
    *pPodStatus = JSC_PodStatus{};
    RETURN_ON_ERROR(check_attached(pJscInform));
    JSC_PodStatus seen{};
    RETURN_ON_ERROR(read_conditions(pJscInform, &seen));
    *pPodStatus = seen;
    RETURN_ON_ERROR(util_CableClear(pJscInform, &seen));
    if (seen.powerStatus) {
        // The next initialisation takes the TAP to Test-Logic-Reset.
        pJscInform->pJscControl->powerLossActive = false;
        pJscInform->pJscControl->powerLossErased = true;
    }
    return eJTI_ERROR_NONE;
}

int32_t jsc_PodStatus(JSC_Inform* pJscInform, JSC_PodStatus* pPodStatus) {
    return tbc_PodStatus(pJscInform, pPodStatus);
}

int32_t jsc_OldStatus(JSC_Inform* pJscInform, JSC_OldStatus* pOldStatus) {
    RETURN_IF(pJscInform == nullptr || pOldStatus == nullptr, eJTI_ERROR_BAD_ARGUMENT);
    *pOldStatus = JSC_OldStatus{false, true, true};
    RETURN_ON_ERROR(check_attached(pJscInform));
    bool emu1 = true;
    bool emu0 = true;
    RETURN_ON_ERROR(util_EmuRead(pJscInform, &emu1, &emu0));
    const uint16_t status = pJscInform->pJscControl->Status1Cache;
    *pOldStatus = JSC_OldStatus{(status & TBC_STATUS1_ALIVE) != 0, emu0, emu1};
    return eJTI_ERROR_NONE;
}
