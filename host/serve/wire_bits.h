// Bits as they stand in bytes on a wire: the first one in bit 0 of the first byte.
#pragma once

#include "host/jtag/bits.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace talvor {

[[nodiscard]] constexpr size_t bytes_of_bits(size_t bits) noexcept {
    return bits / 8 + (bits % 8 != 0 ? 1 : 0);
}

// A number of four bytes, the lowest first.
[[nodiscard]] uint32_t read_u32(std::span<const uint8_t> bytes) noexcept;
void append_u32(std::vector<uint8_t>& bytes, uint32_t value);

// The first `count` bits of `bytes`, which hold as many.
[[nodiscard]] Bits read_bits(std::span<const uint8_t> bytes, size_t count);
// `count` bits from `first`, in as many bytes as they need; unused bits are 0.
void append_bits(std::vector<uint8_t>& bytes, const Bits& bits, size_t first, size_t count);

} // namespace talvor
