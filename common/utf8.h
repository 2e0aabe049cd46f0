// Which bytes of a text are characters of UTF-8.
#pragma once

#include <cstddef>
#include <string_view>

namespace talvor {

// How many bytes the character at `offset`, which is within the text, has; 0: there is none. What
// stands for half a character, as UTF-16 has them, or is longer than it need be is none.
[[nodiscard]] size_t utf8_bytes(std::string_view text, size_t offset) noexcept;

} // namespace talvor
