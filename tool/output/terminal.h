// What is known of the terminal that the standard output goes to.
#pragma once

#include <cstddef>
#include <string_view>
#include <unistd.h>

namespace talvor {

// Characters of a line: COLUMNS of the environment, else what the terminal says, else 100.
[[nodiscard]] size_t terminal_width();

// Lines that it shows: LINES of the environment, else what the terminal of `descriptor` says, else
// 24.
[[nodiscard]] size_t terminal_height(int descriptor = STDOUT_FILENO);

// Whether characters beyond ASCII are told apart by who reads: the character set of the locale, as
// LC_ALL, LC_CTYPE or LANG name it, in this order, is UTF-8. Without any of them it is not.
[[nodiscard]] bool speaks_utf8();

// Places that a line of UTF-8 text takes in a terminal, without its colours.
[[nodiscard]] size_t places_of(std::string_view line);

} // namespace talvor
