// The one way to hand a failure up.
#pragma once

#include "jti_typedef.h"

// Leaves the function with the code of a step that failed.
#define RETURN_ON_ERROR(step)                                                                      \
    do {                                                                                           \
        const JTI_Error error_of_step = (step);                                                    \
        if (error_of_step != eJTI_ERROR_NONE) {                                                    \
            return error_of_step;                                                                  \
        }                                                                                          \
    } while (false)

// Leaves the function with `code` when a condition is met.
#define RETURN_IF(condition, code)                                                                 \
    do {                                                                                           \
        if (condition) {                                                                           \
            return (code);                                                                         \
        }                                                                                          \
    } while (false)
