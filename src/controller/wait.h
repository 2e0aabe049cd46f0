// Waits that the proxy carries out while it runs a batch.
//
// A null handle answers -122 and one without a controller block -116, with nothing queued.
#pragma once

#include "jsc_internal.h"

// Queues a wait for a data-buffer condition and forgets that the controller is idle (priorTBC);
// kinds other than 3, 4, 7 and 8 do neither. A pod that waits by itself gets no wait word. 0.
JTI_EXPORT int32_t WaitForStatus(JSC_Inform* pJscInform, JSC_StatusType status);

// Queues a wait until the controller has finished its operation. 0.
JTI_EXPORT int32_t WaitForTbcDone(JSC_Inform* pJscInform);

// The done-wait of an extended controller, which is not offered: always -122.
JTI_EXPORT int32_t WaitForExlDone(JSC_Inform* pJscInform);

// Queues a short settle delay.
JTI_EXPORT void WaitAWhileTbc(JSC_Inform* pJscInform);

// The settle delay of an extended controller: nothing.
JTI_EXPORT void WaitAWhileExl(JSC_Inform* pJscInform);

// What WaitForStatus would queue, for callers that queue a BatchRun: the wait word, or
// 0 when nothing is to be queued. Clears priorTBC as WaitForStatus does; call it once for a stream
// of waits of one kind. The handle needs a controller block.
uint16_t wait_word_of_status(JSC_Inform* pJscInform, JSC_StatusType status);
