#include "api/diagnose.h"

#include "api/pod_status.h"
#include "controller/wait.h"
#include "sys/check.h"
#include "transport/batch.h"

namespace {

struct CodeRange {
    int32_t first;
    int32_t last;
};

// Codes that the state of the pod cannot explain any better.
constexpr CodeRange kTellingCodes[] = {{-120, -129}, {-180, -183}, {-311, -317}};

bool is_telling(int32_t code) {
    for (const CodeRange& range : kTellingCodes) {
        if (code <= range.first && code >= range.last) {
            return true;
        }
    }
    return false;
}

// The code of the gravest condition; 0 for none.
JTI_Error condition_code(const JSC_PodStatus& status) {
    RETURN_IF(status.nearStatus, eJTI_ERROR_CABLE_NEAR);
    RETURN_IF(status.farStatus, eJTI_ERROR_CABLE_FAR);
    RETURN_IF(status.powerStatus, eJTI_ERROR_NO_POWER);
    RETURN_IF(status.clockStatus, eJTI_ERROR_NO_CLOCK);
    return eJTI_ERROR_NONE;
}

} // namespace

int32_t jsc_Diagnose(JSC_Inform* pJscInform, int32_t symptom) {
    RETURN_IF(pJscInform == nullptr, eJTI_ERROR_BAD_ARGUMENT);
    const JTI_Error pending = batch_take_failure(pJscInform);
    if (pending == eJTI_ERROR_BATCH_FAILED || symptom == eJTI_ERROR_BATCH_FAILED) {
        batch_drop_reads(pJscInform); // their words are lost, and they would take the next ones
    }
    const int32_t code = pending != eJTI_ERROR_NONE ? pending : symptom;
    RETURN_IF(pJscInform->tbcVariable.noCheck || is_telling(code), code);
    RETURN_IF(pJscInform->pJscControl == nullptr,
              pending != eJTI_ERROR_NONE ? pending : JTI_Error{eJTI_ERROR_HANDLE_STATE});
    JSC_PodStatus status{};
    (void)jsc_PodStatus(pJscInform, &status);
    RETURN_ON_ERROR(condition_code(status));
    RETURN_IF(code == eJTI_ERROR_NONE, eJTI_ERROR_NONE);
    WaitAWhileTbc(pJscInform);
    RETURN_ON_ERROR(WaitForTbcDone(pJscInform));
    return code;
}
