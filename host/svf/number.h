// Numbers of SVF text: whole ones and reals, written alike.
#pragma once

#include "host/play/clocks.h"

#include <cstdint>
#include <optional>
#include <string_view>

namespace talvor::svf {

// Whether a word can only be meant as a number.
[[nodiscard]] bool looks_like_number(std::string_view word) noexcept;
// The value of "12", "1.5", "1.00E-02"; nothing for anything else, infinities and NaN included.
[[nodiscard]] std::optional<double> to_real(std::string_view word) noexcept;
// The value of a number without a fraction, reals like 1.0E3 included; nothing for a fraction, a
// sign of minus, or more than 64 bits.
[[nodiscard]] std::optional<uint64_t> to_whole(std::string_view word) noexcept;
using play::to_time;

} // namespace talvor::svf
