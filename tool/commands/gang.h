// The same command on several pods at the same time: what the command line says about it, and its
// report.
#pragma once

#include "common/result.h"
#include "tool/command_line/command_line.h"
#include "tool/commands/context.h"

#include <string>
#include <vector>

namespace talvor {

// Adds --pods and what goes with it; `pod` is the option that names one.
void add_gang_options(Command& program, CommonOptions& options, const Option& pod);

// Runs `command`, as in "tclk search", once for each pod of the request, by programs that get
// `words`, the whole command line, with the pod's own part in it. Prints a table or a document.
// Errors: the command is none for several pods; the pods, their board files or the log are not as
// they should be, and nothing was begun; a pod failed; a signal asked for the end.
[[nodiscard]] Status run_gang(Context& context, const std::string& command,
                              const std::vector<std::string>& words);

// For the program of one of them: reports how far it is, and ends with the program that started it.
void serve_the_gang(Context& context);

} // namespace talvor
