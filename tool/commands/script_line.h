// A line of a script: its words.
#pragma once

#include "common/result.h"

#include <string>
#include <string_view>
#include <vector>

namespace talvor {

// The words between blanks. '...' takes what stands in it as it is; in "..." and outside of quotes
// a backslash takes the next character as it is, also a line end, which is nothing. A # that begins
// a word begins a comment. Errors (ErrorKind::Usage): a quote without its end.
[[nodiscard]] Result<std::vector<std::string>> split_words(std::string_view line);
// Whether the line goes on behind its end: it ends with a backslash that stands for itself.
[[nodiscard]] bool goes_on(std::string_view line) noexcept;

} // namespace talvor
