// Whether a handle has what an operation on the controller needs.
#pragma once

#include "jsc_internal.h"

// 0; -122 without a handle; -116 for a handle without a controller block, as after a failed
// connect.
[[nodiscard]] inline JTI_Error check_attached(const JSC_Inform* pJscInform) {
    if (pJscInform == nullptr) {
        return eJTI_ERROR_BAD_ARGUMENT;
    }
    return pJscInform->pJscControl == nullptr ? eJTI_ERROR_HANDLE_STATE : eJTI_ERROR_NONE;
}
