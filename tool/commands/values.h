// Values as they are written on a command line.
#pragma once

#include "common/result.h"
#include "common/tap_state.h"
#include "host/jtag/bits.h"

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace talvor {

// The longest link delay that a controller can make up for, in test clocks. A connected pod says
// what its own is; this is what a command line may ask for before there is one.
inline constexpr int32_t kMaximumLinkDelay = 31;

// "10MHz", "10.5 MHz", "500k", "32768Hz", in Hz; a number without a unit is none. `what` is the
// thing in the error (ErrorKind::Usage).
[[nodiscard]] Result<double> parse_frequency(std::string_view text, std::string_view what);
// A count of nanoseconds has room for some centuries; more seconds become as many.
[[nodiscard]] std::chrono::nanoseconds duration_of(double seconds) noexcept;
// reset, idle, pausedr, pauseir; also the names of other tools (drpause, irpause, rti, tlr).
[[nodiscard]] Result<StableState> parse_state(std::string_view text);
[[nodiscard]] std::string_view state_word(StableState state) noexcept;
// The words that are printed, in the order of the states.
[[nodiscard]] std::vector<std::string> state_words();
// A number up to `most`, decimal or with 0x. `what` is the thing in the error.
[[nodiscard]] Result<uint32_t> parse_number(std::string_view text, uint32_t most,
                                            std::string_view what);
// "4,5,8": instruction lengths in bits. `what` is the thing in the error.
[[nodiscard]] Result<std::vector<uint32_t>> parse_lengths(const std::string& list,
                                                          std::string_view what);
// Hexadecimal text of `length_bits` bits; 0: as many as its digits say.
[[nodiscard]] Result<Bits> parse_bits(std::string_view text, uint64_t length_bits,
                                      std::string_view what);
// "0x" and the digits.
[[nodiscard]] std::string hex_text(const Bits& bits);

} // namespace talvor
