// The way back from TDO to the controller's receive buffer: the pod's pipeline, the cable, and the
// link delay that takes the cable's delay back.
#pragma once

#include "podsim/model/bit_ring.h"

#include <algorithm>
#include <cstdint>
#include <span>

namespace podsim {

// Largest pipeline and cable together.
inline constexpr unsigned kMaxReturnBits = 1024;

// Bits by which the received stream lags behind TDO.
//
// Modelling decision: pipeline, cable and link delay are one delay line whose length is their sum,
// the link delay counted negative, never below 0. The line moves only while the target shifts and
// keeps its content between operations, whatever length is taken from it.
constexpr unsigned return_delay(unsigned pipeline, unsigned cable, unsigned late, unsigned link) {
    const unsigned there = pipeline + cable + late;
    return there > link ? there - link : 0;
}

// A delay line whose length can be chosen anew at any time, as the view of one stream of bits.
class ReturnPath {
public:
    // Takes `count` (1 to 64) bits of TDO (bits above them must be 0) and gives the `count` bits
    // that come out at the other end. `delay` is at most kMaxReturnBits.
    std::uint64_t pass(std::uint64_t tdo, unsigned count, unsigned delay) {
        ring_.write(position_, tdo, count);
        const std::uint64_t out = ring_.read(position_ - delay) & low_mask(count);
        position_ += count;
        return out;
    }

    // Takes `count` bits of TDO whose other end nobody looks at.
    void absorb(std::span<const std::uint64_t> tdo, std::uint64_t count) {
        // Only the last bits can ever be seen again.
        std::uint64_t first = count > kRingBits ? (count - kRingBits) / kWordBits * kWordBits : 0;
        for (; first < count; first += kWordBits) {
            const auto bits =
                static_cast<unsigned>(std::min<std::uint64_t>(kWordBits, count - first));
            ring_.write(position_, tdo[first / kWordBits] & low_mask(bits), bits);
            position_ += bits;
        }
    }

private:
    static constexpr std::uint64_t kRingBits = kMaxReturnBits + kWordBits;

    // Modelling decision: before anything was shifted the line holds ones, as an open TDO reads.
    BitRing ring_{kRingBits, true};
    std::uint64_t position_ = kRingBits;
};

} // namespace podsim
