// The clock mode that time-outs are computed for.
#pragma once

#include "jsc_internal.h"

JTI_EXPORT int32_t jsc_Adjust(JSC_Inform* pJscInform, JSC_AdjustStuff* pAdjustStuff);

// What jsc_Adjust does.
JTI_EXPORT int32_t tbc_ModeConfig(JSC_Inform* pJscInform, JSC_AdjustStuff* pAdjustStuff);
