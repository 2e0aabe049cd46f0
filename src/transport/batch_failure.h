// The failure of the batch itself: a flush that made room and failed, a word that had no room. It
// stands in the handle, with podError, until Diagnose takes it.
#pragma once

#include "jsc_internal.h"
#include "sys/check.h"

// The failure, if any, of the batch itself (a flush that made room, a word that had none) since
// Diagnose last took it: 0 or its code. An operation that only queues asks this before it reports
// success. Null handle: -122.
[[nodiscard]] inline int32_t batch_failure(const JSC_Inform* pJscInform) {
    RETURN_IF(pJscInform == nullptr, eJTI_ERROR_BAD_ARGUMENT);
    return pJscInform->podError != eJTI_ERROR_NONE ? pJscInform->batchError : eJTI_ERROR_NONE;
}

// Reports and clears podError (and the failure behind it). 0 when there is none. After a failure of
// the batch itself the pending reads are dropped: their words are lost, and they would take those
// of the next batch. Null handle: -122.
int32_t batch_take_failure(JSC_Inform* pJscInform);

// Notes a failure of the batch: from here on accesses are dropped.
void batch_fail(JSC_Inform* pJscInform, int32_t code);
