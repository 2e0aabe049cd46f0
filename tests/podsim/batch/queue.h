// Queues words in a pod's block as the driver does, markers and counters included.
#pragma once

#include "podsim/batch/block.h"

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

namespace talvor::podsim::batch {

class Queue {
public:
    Queue() { empty(*block_); }

    Queue& word(unsigned value) {
        block_->tbcOMblock[block_->tbcMblockPtr++] = static_cast<uint16_t>(value);
        return *this;
    }
    Queue& write(unsigned port, unsigned value) { return word(port | SHM_WORD_WRITE).word(value); }
    Queue& read(unsigned port) {
        word(port);
        ++block_->rdCntrGbl;
        if (++block_->rdCntrLcl == SHM_MARKER_READS) {
            block_->rdCntrLcl = 0;
            block_->useZeroOfs = 1;
            block_->tbcOMblock[block_->lastWCNTR] = SHM_MARKER_FULL;
            block_->lastWCNTR = block_->tbcMblockPtr;
            word(SHM_MARKER_OPEN);
        }
        return *this;
    }
    Queue& reads(unsigned port, int count) {
        for (int i = 0; i < count; ++i) {
            read(port);
        }
        return *this;
    }

    // Room for as many more words, the markers of their reads among them.
    bool has_room(size_t words) const { return block_->tbcMblockPtr + words <= SHM_BLOCK_WORDS; }
    // Taken out of the block; valid until the next call.
    Batch batch() { return take(*block_, storage_); }
    std::span<uint16_t> in() { return block_->tbcIMblock; }
    lcl_shm& block() { return *block_; }
    void clear() { empty(*block_); }

private:
    std::unique_ptr<lcl_shm> block_ = std::make_unique<lcl_shm>();
    std::vector<uint16_t> storage_;
};

} // namespace talvor::podsim::batch
