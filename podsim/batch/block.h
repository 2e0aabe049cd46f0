// The batch inside a pod's block: what it holds when it is empty, and a private copy of it to work
// on.
#pragma once

#include "shm_structs.h"

#include <cstdint>
#include <span>
#include <vector>

namespace talvor::podsim::batch {

// The batch fields of a pod's block, copied once, so that a host that goes on writing changes
// nothing.
struct Head {
    uint32_t length_words{};   // tbcMblockPtr
    uint32_t marker_closed{};  // useZeroOfs
    uint32_t open_marker{};    // lastWCNTR
    uint32_t reads_in_run{};   // rdCntrLcl
    uint32_t reads_in_batch{}; // rdCntrGbl
    bool operator==(const Head&) const = default;
};

// The head of an empty batch: the reserved word and an open marker, nothing read.
constexpr Head kEmptyHead{SHM_EMPTY_BATCH_WORDS, 0, SHM_EMPTY_MARKER_INDEX, 0, 0};

// Leaves an empty batch in the block: the five batch fields and the first two words of the
// out-block. Everything else of the block stays.
void empty(lcl_shm& block);

// A batch taken out of a block.
struct Batch {
    Head head;
    std::span<const uint16_t> words; // the first head.length_words words of the out-block, or
                                     // none when the length lies past the block
};

// Copies the batch out of `block`. The words stand in `storage`, which grows as needed and is kept
// by the caller from one batch to the next; the result is valid until the next call with it.
Batch take(const lcl_shm& block, std::vector<uint16_t>& storage);

} // namespace talvor::podsim::batch
