// A 32-bit hash of texts, built up text by text.
#pragma once

#include "jti_typedef.h"

// The hash of no text.
JTI_EXPORT uint32_t sys_StrHashFirst();

// The hash `before`, carried on over the NUL-terminated pData. Null and "" give `before`.
JTI_EXPORT uint32_t sys_StrHashAgain(uint32_t before, const char* pData);
