// The batch: encoded accesses in the pod's out-block, and the list of reads that wait for it.
//
// Items reach the batch through Port... and batch_wait (transport/port.h) and, thousands at a time,
// through a BatchCursor (transport/batch_cursor.h). Those flush first when an item would not fit;
// the functions here do not. Without a channel everything is dropped. None needs a handle that is
// connected.
#pragma once

#include "jsc_internal.h"
#include "transport/batch_failure.h"
#include "transport/read_list.h"

// Appends one word as it is. It may be half of an item, so nothing is flushed for it: a word that
// leaves a flush no room is dropped, and podError set to -140. Also dropped: a null handle, no
// channel, a failed early flush.
JTI_EXPORT void qel_PostData(JSC_Inform* pJscInform, uint16_t word);

// Counts one queued read; closes a full read-count marker and opens the next. A marker index
// outside the out-block is not written to: podError is set to -140 then.
JTI_EXPORT void qel_ReadIncrement(JSC_Inform* pJscInform);

// Appends a pending read to the handle's list.
//   count  in: words
//   ptr    in: destination of `count` words; must stay valid until the flush that fills it. Null
//              takes the words and drops them.
// Without memory for it podError is set to -131.
JTI_EXPORT void qel_PostReadOp(JSC_Inform* pJscInform, uint16_t count, uint16_t* ptr);

// Flushes: has the proxy execute the batch, then scatters the words read. Also refreshes the three
// status caches. An empty batch is no exchange and 0.
// -122 null handle. -140 without a channel, when the proxy failed the batch, or when its status or
// the block's counters cannot be right. -116 without a controller block. -131 without memory for
// the status reads. After a failed early flush: that flush's code, until Diagnose takes it. On
// every failure the pending reads stay listed and their destinations are untouched.
JTI_EXPORT int32_t qel_PerformIo(JSC_Inform* pJscInform);

// ---- for the batch's own files ----

// Appends a read: word, count, node. The caller made room, reserved a node and checked the channel.
void batch_append_read(JSC_Inform* pJscInform, uint16_t port, uint16_t* pValue);
