// Connecting a handle to the controller, and disconnecting it.
#pragma once

#include "jsc_internal.h"

JTI_EXPORT int32_t jsc_Connect(JSC_Inform* pHandle, bool* pFirst);
JTI_EXPORT int32_t jsc_Disconnect(JSC_Inform* pHandle, bool* pLast);
