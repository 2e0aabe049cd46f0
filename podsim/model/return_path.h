// The way back from TDO to the controller's receive buffer: the pod's pipeline, the cable, and the
// link delay that takes the cable's delay back.
#pragma once

#include "podsim/model/bit_ring.h"

#include <algorithm>
#include <cstdint>
#include <span>

namespace talvor::podsim {

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

// The bits that TDO has given, as far back as anybody may look. A receiver reads them behind the
// newest by its delay; the same bits can be read with several delays.
class ReturnPath {
public:
    // Bits, from the newest on, that can be read.
    static constexpr uint64_t kKeptBits = kMaxReturnBits + 2 * kWordBits;

    // Position behind the newest bit; grows by one with each. Starts at kKeptBits.
    uint64_t position() const { return position_; }

    // Takes the lowest `count` (1 to 64) bits of `tdo`; bits above them must be 0.
    void push(uint64_t tdo, unsigned count) {
        ring_.write(position_, tdo, count);
        position_ += count;
    }

    // Takes `count` bits.
    void push(std::span<const uint64_t> tdo, uint64_t count) {
        // Only the last ones can ever be read.
        uint64_t done = count > kKeptBits ? (count - kKeptBits) / kWordBits * kWordBits : 0;
        position_ += done;
        for (; done < count; done += kWordBits) {
            const auto bits = static_cast<unsigned>(std::min<uint64_t>(kWordBits, count - done));
            push(tdo[done / kWordBits] & low_mask(bits), bits);
        }
    }

    // Gives the `count` (1 to 64) bits from `first`, which lie before position() and not further
    // back than kKeptBits.
    uint64_t read(uint64_t first, unsigned count) const {
        return ring_.read(first) & low_mask(count);
    }

private:
    // Modelling decision: before anything was shifted the line holds ones, as an open TDO reads.
    BitRing ring_{kKeptBits, true};
    uint64_t position_ = kKeptBits;
};

} // namespace talvor::podsim
