// The batch: encoded accesses in the pod's out-block, and the list of reads that wait for it.
//
// Items reach the batch through Port... (transport/port.h), singly (transport/batch_item.h) and by
// the thousand (transport/batch_run.h). Those flush first when an item would not fit; the functions
// here do not. Without a channel everything is dropped. None needs a handle that is connected.
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

// ---- for the batch's own files: the caller made room and checked the channel ----

// Appends a read: word, count, node. The node was reserved.
//   next  in: where the word goes: a bounded copy of the block's counter
void batch_append_read(JSC_Inform* pJscInform, uint32_t next, uint16_t port, uint16_t* pValue);

// Counts reads whose words have been appended: at most as many as fill the open marker, which is
// then closed and followed by the next.
//   reads_local   in: those counted by the open marker so far
//   reads_global  in: those of the batch so far
void batch_count_reads(JSC_Inform* pJscInform, uint32_t reads_local, uint32_t reads_global,
                       uint32_t count);
