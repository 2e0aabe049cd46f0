// The list of reads that wait for a flush: nodes in the order of their words, and spent nodes kept
// for reuse. Both belong to the handle.
#pragma once

#include "jsc_internal.h"

// Sees to it that `count` spent nodes are at hand. False without memory for them.
[[nodiscard]] bool batch_reserve_nodes(JSC_Inform* pJscInform, uint32_t count);

// Appends a pending read, from a node that was reserved.
//   count  in: words
//   ptr    in: their destination
inline void batch_append_node(JSC_Inform* pJscInform, uint32_t count, uint16_t* ptr) {
    JSC_qel_oplist* const node = pJscInform->opListFree;
    pJscInform->opListFree = node->next;
    *node = {0, count, ptr, nullptr};
    JSC_qel_oplist* const tail = pJscInform->opListTail;
    (tail == nullptr ? pJscInform->opList : tail->next) = node;
    pJscInform->opListTail = node;
}

// Drops all pending reads: their destinations are about to go. Those whose words are still queued
// keep their place in the batch: their words will come, and go nowhere. Null handle: nothing.
void batch_drop_reads(JSC_Inform* pJscInform);

// Takes all pending reads off the list: their words have come, or never will.
void batch_take_reads(JSC_Inform* pJscInform);

// Drops all pending reads and frees every node; the handle is about to go. Null handle: nothing.
void batch_release(JSC_Inform* pJscInform);
