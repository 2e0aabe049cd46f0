// Small texts that every program writes the same way.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace talvor {

// "1 statement", "2 statements"; `plural` where an "s" behind the noun is not enough.
[[nodiscard]] std::string count_text(uint64_t count, std::string_view noun,
                                     std::string_view plural = {});

// "1 second", "0.2 seconds".
[[nodiscard]] std::string seconds_text(double seconds);

// A pod's revision as its maker writes it, major and minor in hexadecimal: "2.10" for 0x0210.
[[nodiscard]] std::string revision_text(uint16_t revision);

// Whether two names are the same but for capitals, where a language or a person makes no
// difference.
[[nodiscard]] bool same_name(std::string_view one, std::string_view other) noexcept;

// `text` as XML holds it: marks as entities, and what XML cannot hold as '?'.
[[nodiscard]] std::string xml_text(std::string_view text);

} // namespace talvor
