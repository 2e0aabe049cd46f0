// Numbers as VHDL writes them.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace talvor::bsdl {

// "144", "1_000", "16#90#", "2#1001#E4", "1e3". Nothing when it is no integer, or above 2^62.
[[nodiscard]] std::optional<int64_t> integer_value(std::string_view text) noexcept;
// These too, and "20.0e6", "1.5E-3". Nothing when it is no number, or not finite.
[[nodiscard]] std::optional<double> real_value(std::string_view text);

} // namespace talvor::bsdl
