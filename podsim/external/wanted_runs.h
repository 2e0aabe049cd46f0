// Which bits of an answer were asked for.
#pragma once

#include "podsim/external/bit_queue.h"
#include "podsim/model/bits.h"

#include <algorithm>
#include <cstdint>
#include <span>
#include <vector>

namespace talvor::podsim::external {

// Runs of bits that stand one after the other in an answer, wanted and not.
class WantedRuns {
public:
    uint64_t bits() const { return bits_; }

    void add(uint64_t count, bool wanted) {
        if (count == 0) {
            return;
        }
        if (!runs_.empty() && runs_.back().wanted == wanted) {
            runs_.back().count += count;
        } else {
            runs_.push_back({count, wanted});
        }
        bits_ += count;
    }

    // Appends those bits of `answer`, which holds bits(), that are wanted.
    void pick(std::span<const uint64_t> answer, BitQueue& levels) const {
        uint64_t at = 0;
        for (const Run& run : runs_) {
            for (uint64_t i = 0; run.wanted && i < run.count; i += kWordBits) {
                const auto step =
                    static_cast<unsigned>(std::min<uint64_t>(kWordBits, run.count - i));
                levels.append(get_bits(answer, at + i, step), step);
            }
            at += run.count;
        }
    }

private:
    struct Run {
        uint64_t count;
        bool wanted;
    };
    std::vector<Run> runs_;
    uint64_t bits_ = 0;
};

} // namespace talvor::podsim::external
