#include "host/stapl/bit_range.h"

#include <algorithm>
#include <cstdint>

namespace talvor::stapl {

namespace {

constexpr size_t kWord = Bits::kWordBits;

// The bits of `mask` in the word become those of `value`.
void put(uint16_t& word, unsigned value, unsigned mask) {
    word = static_cast<uint16_t>((word & ~mask) | (value & mask));
}

// Up to a word of bits from `offset` on; what lies behind the last word reads 0.
unsigned word_at(std::span<const uint16_t> words, size_t offset) {
    const size_t first = offset / kWord;
    const auto shift = static_cast<unsigned>(offset % kWord);
    unsigned value = static_cast<unsigned>(words[first]) >> shift;
    if (shift != 0 && first + 1 < words.size()) {
        value |= static_cast<unsigned>(words[first + 1]) << (kWord - shift);
    }
    return value & 0xFFFFU;
}

} // namespace

void copy_bits(Bits& to, size_t to_offset, const Bits& from, size_t from_offset, size_t count) {
    const std::span<uint16_t> target = to.words();
    const std::span<const uint16_t> source = from.words();
    if (to_offset % kWord == 0 && from_offset % kWord == 0) {
        const size_t whole = count / kWord;
        std::copy_n(source.data() + from_offset / kWord, whole, target.data() + to_offset / kWord);
        to_offset += whole * kWord;
        from_offset += whole * kWord;
        count -= whole * kWord;
    }
    while (count != 0) {
        const auto shift = static_cast<unsigned>(to_offset % kWord);
        const size_t bits = std::min(count, kWord - shift);
        const unsigned mask = ((1U << bits) - 1U) << shift;
        put(target[to_offset / kWord], word_at(source, from_offset) << shift, mask);
        to_offset += bits;
        from_offset += bits;
        count -= bits;
    }
}

Bits reversed(const Bits& bits) {
    Bits turned(bits.size());
    for (size_t i = 0; i < bits.size(); ++i) {
        turned.set(bits.size() - 1 - i, bits[i]);
    }
    return turned;
}

} // namespace talvor::stapl
