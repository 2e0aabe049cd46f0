// Turning an error code into the most telling one.
#pragma once

#include "jsc_internal.h"

JTI_EXPORT int32_t jsc_Diagnose(JSC_Inform* pJscInform, int32_t symptom);
