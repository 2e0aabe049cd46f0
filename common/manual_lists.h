// The lists of a manual page (roff, man macros) that a program's description holds.
#pragma once

#include "common/command_description.h"

#include <string>

namespace talvor {

// The sections OPTIONS and, where the program has commands, COMMANDS with a subsection for each of
// them and for each command of a command.
[[nodiscard]] std::string manual_lists(const CommandDescription& program);

} // namespace talvor
