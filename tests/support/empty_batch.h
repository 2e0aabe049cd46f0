// The batch as a proxy leaves it on attach and after each execution: nothing queued.
#pragma once

#include "shm_structs.h"

namespace test_support {

inline void empty_batch(lcl_shm& block) {
    block.tbcOMblock[0] = SHM_WORD_RESERVED;
    block.tbcOMblock[SHM_EMPTY_MARKER_INDEX] = SHM_MARKER_OPEN;
    block.tbcMblockPtr = SHM_EMPTY_BATCH_WORDS;
    block.lastWCNTR = SHM_EMPTY_MARKER_INDEX;
    block.useZeroOfs = 0;
    block.rdCntrLcl = 0;
    block.rdCntrGbl = 0;
}

} // namespace test_support
