// Amble bits and end delays around a scan.
#pragma once

#include "jsc_internal.h"

JTI_EXPORT int32_t jsc_GetAmbleDelay(JSC_Inform* pJscInform, JSC_JtagAmbleDelay* pAmbleDelay);
JTI_EXPORT int32_t jsc_PutAmbleDelay(JSC_Inform* pJscInform, JSC_JtagAmbleDelay* pAmbleDelay);
