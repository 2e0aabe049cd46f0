// The batch: encoded accesses in the pod's out-block, and the list of reads that wait for it.
#pragma once

#include "jsc_internal.h"

// Appends one word. Dropped without a channel.
JTI_EXPORT void qel_PostData(JSC_Inform* pJscInform, uint16_t word);

// Counts one queued read; closes a full read-count marker and opens the next.
JTI_EXPORT void qel_ReadIncrement(JSC_Inform* pJscInform);

// Appends a pending read.
//   count  in: words
//   ptr    in: destination; must stay valid until the flush that fills it
JTI_EXPORT void qel_PostReadOp(JSC_Inform* pJscInform, uint16_t count, uint16_t* ptr);

// Flushes: has the proxy execute the batch, then scatters the words read. Also refreshes the three
// status caches. An empty batch is no exchange.
// -140 the proxy failed the batch, or its status cannot be right; the pending reads stay listed and
// destinations are untouched. -140 without a channel, -116 without a controller block. After a
// failed early flush: that flush's code, until Diagnose takes it.
JTI_EXPORT int32_t qel_PerformIo(JSC_Inform* pJscInform);

// Appends a wait word, making room first.
void batch_wait(JSC_Inform* pJscInform, uint16_t wait_word);

// The failure, if any, of a flush that made room since Diagnose last took it: 0 or its code. An
// operation that only queues asks this before it reports success.
int32_t batch_failure(const JSC_Inform* pJscInform);

// Reports and clears podError (and the failure behind it). 0 when there is none.
int32_t batch_take_failure(JSC_Inform* pJscInform);

// Drops all pending reads: their destinations are about to go.
void batch_drop_reads(JSC_Inform* pJscInform);

// Frees the spent nodes; the handle is about to go.
void batch_release(JSC_Inform* pJscInform);
