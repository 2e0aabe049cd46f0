// Values as they are written on a command line.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "jtag/bits.h"
#include "jtag/tap_state.h"
#include "support/result.h"

namespace talvor {

// "10MHz", "10.5 MHz", "500k", "32768": hertz without a unit. Errors: ErrorKind::Usage.
[[nodiscard]] Result<double> parse_frequency(std::string_view text);
// reset, idle, pausedr, pauseir; also the names of other tools (drpause, irpause, rti, tlr).
[[nodiscard]] Result<StableState> parse_state(std::string_view text);
[[nodiscard]] std::string_view state_word(StableState state) noexcept;
// A number up to `most`, decimal or with 0x. `what` is the thing in the error.
[[nodiscard]] Result<uint32_t> parse_number(std::string_view text, uint32_t most,
                                            std::string_view what);
// Hexadecimal text of `length_bits` bits; 0: as many as its digits say.
[[nodiscard]] Result<Bits> parse_bits(std::string_view text, uint64_t length_bits,
                                      std::string_view what);
// "0x" and the digits.
[[nodiscard]] std::string hex_text(const Bits& bits);

} // namespace talvor
