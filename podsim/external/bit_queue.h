// A queue of bits of any length.
#pragma once

#include "podsim/model/bits.h"

#include <cstdint>
#include <vector>

namespace talvor::podsim::external {

class BitQueue {
public:
    uint64_t size() const { return end_ - first_; }
    bool empty() const { return first_ == end_; }

    // Appends the lowest `count` (0 to 64) bits of `value`.
    void append(uint64_t value, unsigned count) {
        if (words_.size() < words_for(end_ + count)) {
            words_.push_back(0);
        }
        put_bits(words_, end_, count, value);
        end_ += count;
    }

    // Takes the first `count` (0 to 64) bits; there must be as many.
    uint64_t take(unsigned count) {
        const uint64_t value = get_bits(words_, first_, count);
        first_ += count;
        if (empty()) {
            clear();
        }
        return value;
    }

    void clear() {
        words_.clear();
        first_ = 0;
        end_ = 0;
    }

private:
    std::vector<uint64_t> words_;
    uint64_t first_ = 0;
    uint64_t end_ = 0;
};

} // namespace talvor::podsim::external
