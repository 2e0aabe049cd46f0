// A run of equal steps on the batch, each a wait, a word sent, a word received, or some of them:
// what the thousands of words of a long shift are. The words are written in whole blocks, up to the
// next marker or to where the room gets scarce, and a run's reads are one node of the list.
#pragma once

#include "jsc_internal.h"

// Each step is the items that are not left out, in this order.
struct BatchRun {
    uint16_t wait_word;     // 0: none
    const uint16_t* source; // of the words to send; null: none
    uint16_t* destination;  // of the words received, filled by the next flush; null: none
    uint32_t count;         // steps
};

// Queues the run: what `count` times batch_wait, batch_write to port 23 and batch_read of port 22
// queue, to the word and to the flush, in a batch that fails included.
void batch_run(JSC_Inform* pJscInform, const BatchRun& run);
