// A key that a person presses.
#pragma once

#include "common/result.h"

#include <string>

namespace talvor {

// Whether somebody at a terminal can press one: the standard input is a terminal.
[[nodiscard]] bool has_keys() noexcept;
// Waits for any key of the standard input, which is not shown and is gone afterwards; the end of
// the input counts as one. The terminal is left as it was. The error is that of check_interrupt().
[[nodiscard]] Status await_key();
// A line that a person types after `question`, without its end; "" at the end of the input. The
// error is that of check_interrupt().
[[nodiscard]] Result<std::string> ask(const std::string& question);

} // namespace talvor
