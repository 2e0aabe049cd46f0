#include "podsim/batch/block.h"

#include <atomic>
#include <cstring>

namespace talvor::podsim::batch {
namespace {

// One read of a field that another process may be writing.
uint32_t fetch(const uint32_t& field) {
    return __atomic_load_n(&field, __ATOMIC_RELAXED);
}

} // namespace

void empty(lcl_shm& block) {
    block.tbcOMblock[0] = SHM_WORD_RESERVED;
    block.tbcOMblock[SHM_EMPTY_MARKER_INDEX] = SHM_MARKER_OPEN;
    block.tbcMblockPtr = kEmptyHead.length_words;
    block.useZeroOfs = kEmptyHead.marker_closed;
    block.lastWCNTR = kEmptyHead.open_marker;
    block.rdCntrLcl = kEmptyHead.reads_in_run;
    block.rdCntrGbl = kEmptyHead.reads_in_batch;
}

Batch take(const lcl_shm& block, std::vector<uint16_t>& storage) {
    const Head head{fetch(block.tbcMblockPtr), fetch(block.useZeroOfs), fetch(block.lastWCNTR),
                    fetch(block.rdCntrLcl), fetch(block.rdCntrGbl)};
    if (head.length_words == 0 || head.length_words > SHM_BLOCK_WORDS) {
        return {head, {}};
    }
    if (storage.size() < head.length_words) {
        storage.resize(head.length_words);
    }
    std::memcpy(storage.data(), block.tbcOMblock, head.length_words * sizeof(uint16_t));
    return {head, std::span(storage).first(head.length_words)};
}

} // namespace talvor::podsim::batch
