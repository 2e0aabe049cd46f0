// A command within another one: what stands behind "talvor trace".
#pragma once

#include "common/result.h"
#include "tool/command_line/command_line.h"

#include <string>
#include <vector>

namespace talvor {

class Context;

// Parses the words of the inner command with the options that stand before it, and answers what it
// does; an empty action when it was asked for its help, which is printed. Errors: there is none
// (ErrorKind::Usage); those of the command line; each with `next_step`.
[[nodiscard]] Result<Action> inner_action(Context& context, const std::vector<std::string>& words,
                                          const std::string& next_step);

} // namespace talvor
