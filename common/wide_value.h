// Values of any number of bits, as words of 64, the lowest first.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

namespace talvor {

// The value of hexadecimal digits, which '_' may part; nothing where they are none.
[[nodiscard]] std::optional<std::vector<uint64_t>> wide_value(std::string_view digits);
// Whether the value has no bit above the lowest `bits`.
[[nodiscard]] bool fits_bits(std::span<const uint64_t> value, uint64_t bits) noexcept;

} // namespace talvor
