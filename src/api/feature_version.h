// Versions of controller and pod.
#pragma once

#include "jsc_internal.h"

JTI_EXPORT int32_t jsc_MultipleVersion(JSC_Inform* pJscInform, JSC_FeatureId featureId,
                                       bool* pFeatureKnown, uint32_t* pFeatureValue);

// What jsc_MultipleVersion does.
JTI_EXPORT int32_t tbc_MultipleVersion(JSC_Inform* pJscInform, JSC_FeatureId featureId,
                                       bool* pFeatureKnown, uint32_t* pFeatureValue);
