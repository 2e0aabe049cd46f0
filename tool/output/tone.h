// The tones in which text is printed on a terminal.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace talvor {

enum class Tone : uint8_t { Plain, Strong, Good, Bad, Faint };

// `text` between a terminal's codes for the tone.
[[nodiscard]] std::string toned(Tone tone, std::string_view text);

// Whether the environment leaves colour to the terminal: no NO_COLOR, no dumb terminal.
[[nodiscard]] bool colour_wanted();

} // namespace talvor
