// The TRSTn pin of the target.
#pragma once

#include "jsc_internal.h"

JTI_EXPORT int32_t jsc_StatusTrstn(JSC_Inform* pJscInform, bool* pPinTRSTn);
JTI_EXPORT int32_t jsc_ModifyTrstn(JSC_Inform* pJscInform, JSC_JtagPin jtagPin, uint32_t parameter1,
                                   uint32_t parameter2);
// Drives TRSTn high when it is low, else pulses it when asked. Failures of the pin changes are
// ignored, hosts rely on that; the status read and the log writes report theirs.
JTI_EXPORT int32_t tbc_TrstnStuff(JSC_Inform* pJscInform, bool toggleTrstn, bool useLogFile);
