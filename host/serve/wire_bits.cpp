#include "host/serve/wire_bits.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace talvor {

static_assert(std::endian::native == std::endian::little, "words are copied as they stand");

uint32_t read_u32(std::span<const uint8_t> bytes) noexcept {
    uint32_t value = 0;
    std::memcpy(&value, bytes.data(), sizeof(value));
    return value;
}

void append_u32(std::vector<uint8_t>& bytes, uint32_t value) {
    const size_t at = bytes.size();
    bytes.resize(at + sizeof(value));
    std::memcpy(bytes.data() + at, &value, sizeof(value));
}

Bits read_bits(std::span<const uint8_t> bytes, size_t count) {
    Bits bits(count);
    if (count != 0) {
        std::memcpy(bits.words().data(), bytes.data(), bytes_of_bits(count));
        bits.clear_unused();
    }
    return bits;
}

void append_bits(std::vector<uint8_t>& bytes, const Bits& bits, size_t first, size_t count) {
    constexpr size_t kWord = 64;
    size_t at = bytes.size();
    bytes.resize(at + bytes_of_bits(count));
    while (count != 0) {
        const size_t now = std::min(count, kWord);
        const uint64_t word = bits.to_uint(first, now);
        std::memcpy(bytes.data() + at, &word, bytes_of_bits(now));
        at += bytes_of_bits(now);
        first += now;
        count -= now;
    }
}

} // namespace talvor
