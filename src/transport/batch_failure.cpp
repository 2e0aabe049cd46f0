#include "transport/batch_failure.h"

#include "transport/read_list.h"

int32_t batch_take_failure(JSC_Inform* pJscInform) {
    RETURN_IF(pJscInform == nullptr, eJTI_ERROR_BAD_ARGUMENT);
    const int32_t code = pJscInform->podError;
    if (batch_failure(pJscInform) != eJTI_ERROR_NONE) {
        batch_drop_reads(pJscInform);
    }
    pJscInform->podError = eJTI_ERROR_NONE;
    pJscInform->batchError = eJTI_ERROR_NONE;
    return code;
}

void batch_fail(JSC_Inform* pJscInform, int32_t code) {
    pJscInform->podError = code;
    pJscInform->batchError = code;
}
