// Bit fields in rows of 64-bit words, the first bit in bit 0 of word 0.
#pragma once

#include "podsim/model/bit_ring.h"

#include <cstddef>
#include <cstdint>
#include <span>

namespace talvor::podsim {

// The `count` (0 to 64) bits from `position`. They must lie inside `words`.
constexpr uint64_t get_bits(std::span<const uint64_t> words, size_t position, unsigned count) {
    const size_t index = position / kWordBits;
    const unsigned offset = position % kWordBits;
    if (count == 0) {
        return 0;
    }
    uint64_t value = words[index] >> offset;
    if (offset + count > kWordBits) {
        value |= words[index + 1] << (kWordBits - offset);
    }
    return value & low_mask(count);
}

// Replaces the `count` (0 to 64) bits from `position` by the lowest of `value`.
constexpr void put_bits(std::span<uint64_t> words, size_t position, unsigned count,
                        uint64_t value) {
    const size_t index = position / kWordBits;
    const unsigned offset = position % kWordBits;
    if (count == 0) {
        return;
    }
    const uint64_t mask = low_mask(count);
    value &= mask;
    words[index] = (words[index] & ~(mask << offset)) | (value << offset);
    if (offset + count > kWordBits) {
        const unsigned done = kWordBits - offset;
        words[index + 1] = (words[index + 1] & ~(mask >> done)) | (value >> done);
    }
}

} // namespace talvor::podsim
