// The batch: encoded accesses in the pod's out-block, and the list of reads that wait for it.
//
// Items reach the batch through Port... (transport/port.h), batch_wait, or in long runs a
// BatchCursor (transport/batch_cursor.h). All of those flush first when an item would not fit.
// Without a channel everything is dropped. None of them needs a handle that is connected.
#pragma once

#include "jsc_internal.h"

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

// Appends a wait word (SHM_WAIT_...), making room first. A podError that the batch did not set
// itself does not keep waits away.
void batch_wait(JSC_Inform* pJscInform, uint16_t wait_word);

// The failure, if any, of the batch itself (a flush that made room, a word that had none) since
// Diagnose last took it: 0 or its code. An operation that only queues asks this before it reports
// success. Null handle: -122.
int32_t batch_failure(const JSC_Inform* pJscInform);

// Reports and clears podError (and the failure behind it). 0 when there is none. After a failure of
// the batch itself the pending reads are dropped: their words are lost, and they would take those
// of the next batch. Null handle: -122.
int32_t batch_take_failure(JSC_Inform* pJscInform);

// Drops all pending reads: their destinations are about to go. Null handle: nothing.
void batch_drop_reads(JSC_Inform* pJscInform);

// Drops all pending reads and frees every node; the handle is about to go. Null handle: nothing.
void batch_release(JSC_Inform* pJscInform);

// ---- for the batch's own files ----

// Notes a failure of the batch: from here on accesses are dropped.
void batch_fail(JSC_Inform* pJscInform, int32_t code);

// Sees to it that `count` spent nodes are at hand. False without memory for them.
bool batch_reserve_nodes(JSC_Inform* pJscInform, uint32_t count);

// Appends a read: word, count, node. The caller made room, reserved a node and checked the channel.
void batch_append_read(JSC_Inform* pJscInform, uint16_t port, uint16_t* pValue);
