// A queue of bits that is filled and emptied by words: what stands in a row of shift registers.
#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace talvor::podsim {

inline constexpr unsigned kWordBits = 64;

constexpr size_t words_for(uint64_t bits) {
    return static_cast<size_t>((bits + kWordBits - 1) / kWordBits);
}

// The lowest `count` (0 to 64) bits set.
constexpr uint64_t low_mask(unsigned count) {
    return count >= kWordBits ? ~uint64_t{0} : (uint64_t{1} << count) - 1;
}

// A ring of bits addressed by ever growing 64-bit positions. The caller keeps the position where it
// reads within `capacity` bits of the position where it writes.
class BitRing {
public:
    // Room for `bits` bits between reader and writer, each bit reading as `level` at first.
    explicit BitRing(uint64_t bits = 0, bool level = false)
        // Two words more than asked: a write spoils what stands behind it in its last word.
        : words_(std::bit_ceil(words_for(bits) + 2), level ? ~uint64_t{0} : 0),
          mask_(words_.size() - 1) {}

    // Writes the lowest `count` (1 to 64) bits of `value` at `position`. Bits above them must be 0.
    // What stands behind them, up to the end of that word, is spoilt.
    void write(uint64_t position, uint64_t value, unsigned count) {
        const unsigned offset = position % kWordBits;
        const size_t index = (position / kWordBits) & mask_;
        words_[index] = (words_[index] & low_mask(offset)) | (value << offset);
        if (offset + count > kWordBits) {
            words_[(index + 1) & mask_] = value >> (kWordBits - offset);
        }
    }

    // The same, and leaves what stands behind.
    void replace(uint64_t position, uint64_t value, unsigned count) {
        const unsigned offset = position % kWordBits;
        const unsigned low = std::min(count, kWordBits - offset);
        uint64_t& first = words_[(position / kWordBits) & mask_];
        first = (first & ~(low_mask(low) << offset)) | (value << offset);
        if (low < count) {
            uint64_t& second = words_[(position / kWordBits + 1) & mask_];
            second = (second & ~low_mask(count - low)) | (value >> low);
        }
    }

    // Reads 64 bits from `position`; the caller cuts what it does not need.
    uint64_t read(uint64_t position) const {
        const unsigned offset = position % kWordBits;
        const size_t index = (position / kWordBits) & mask_;
        const uint64_t low = words_[index] >> offset;
        // Shifted in two steps: a shift by 64 is undefined.
        return low | (words_[(index + 1) & mask_] << 1 << (kWordBits - 1 - offset));
    }

private:
    std::vector<uint64_t> words_;
    size_t mask_;
};

} // namespace talvor::podsim
