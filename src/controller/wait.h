// Waits that the proxy carries out while it runs a batch.
#pragma once

#include "jsc_internal.h"

// Queues a wait for a data-buffer condition; kinds other than 3, 4, 7 and 8 queue nothing, and so
// does a pod that waits by itself. Always 0.
JTI_EXPORT int32_t WaitForStatus(JSC_Inform* pJscInform, JSC_StatusType status);

// Queues a wait until the controller has finished its operation. Always 0.
JTI_EXPORT int32_t WaitForTbcDone(JSC_Inform* pJscInform);

// The done-wait of an extended controller, which is not offered: always -122.
JTI_EXPORT int32_t WaitForExlDone(JSC_Inform* pJscInform);

// Queues a short settle delay.
JTI_EXPORT void WaitAWhileTbc(JSC_Inform* pJscInform);

// The settle delay of an extended controller: nothing.
JTI_EXPORT void WaitAWhileExl(JSC_Inform* pJscInform);
