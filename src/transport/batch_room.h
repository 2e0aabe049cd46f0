// How much of the out-block and the in-block is left for a batch.
#pragma once

#include "jsc_internal.h"

// What an item takes.
struct BatchItem {
    uint32_t words; // of the out-block, markers not counted
    uint32_t reads; // 0 or 1
};

// A flush queues reads of the three status registers.
inline constexpr uint32_t kBatchStatusReads = 3;
// Most words that a flush adds: the three reads, and a marker that one of them closes.
inline constexpr uint32_t kBatchFlushWordsMost = kBatchStatusReads + 1;

// Whether an item fits, with all that a flush adds behind it, exactly: the last word of the block
// may be used. Counters that no batch can have never fit.
//   next          in: next free index of the out-block
//   reads_local   in: reads since the open marker
//   reads_global  in: reads in the batch
[[nodiscard]] constexpr bool batch_has_room(uint32_t next, uint32_t reads_local,
                                            uint32_t reads_global, BatchItem item) {
    if (next > SHM_BLOCK_WORDS || reads_local >= SHM_MARKER_READS ||
        reads_global > SHM_BLOCK_WORDS) {
        return false;
    }
    const uint32_t reads = item.reads + kBatchStatusReads;
    const uint32_t markers = (reads_local + reads) / SHM_MARKER_READS;
    return next + item.words + kBatchStatusReads + markers <= SHM_BLOCK_WORDS &&
           reads_global + reads <= SHM_BLOCK_WORDS;
}
