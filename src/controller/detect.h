// Is a controller there, does it work, and of which kind is it.
#pragma once

#include "jsc_internal.h"

// The loop-back test. 0; -171, -173 to -176 by what came back; else the code of a failed flush.
JTI_EXPORT int32_t CheckCtlrExist(JSC_Inform* pJscInform);

// The controller kind; eJTI_CONTROL_ID_OBSOLETE when it cannot be read.
JTI_EXPORT JTI_ControlId CheckCtlrVersion(JSC_Inform* pJscInform);
