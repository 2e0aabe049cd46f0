// Latched conditions of cable and target, and the status of old.
#pragma once

#include "jsc_internal.h"

JTI_EXPORT int32_t jsc_PodStatus(JSC_Inform* pJscInform, JSC_PodStatus* pPodStatus);
JTI_EXPORT int32_t jsc_OldStatus(JSC_Inform* pJscInform, JSC_OldStatus* pOldStatus);

// What jsc_PodStatus does.
JTI_EXPORT int32_t tbc_PodStatus(JSC_Inform* pJscInform, JSC_PodStatus* pPodStatus);
