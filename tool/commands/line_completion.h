// What may stand next on a line that is being typed.
#pragma once

#include "tool/command_line/command_line.h"

#include <string>
#include <string_view>
#include <vector>

namespace talvor {

// Whole words that the last word of `before` may become: commands of `program`, or a command's own
// commands and options, or, where there are none of these, names of files; folders end with '/'.
[[nodiscard]] std::vector<std::string> complete_line(const Command& program,
                                                     std::string_view before);

} // namespace talvor
