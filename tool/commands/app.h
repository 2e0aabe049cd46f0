// The program: its command line, and what it ends with.
#pragma once

#include <string>
#include <vector>

#include "commands/command_set.h"
#include "commands/context.h"

namespace talvor {

// Parses `arguments` (without the program's name) and runs what they say within `context`. Returns
// the exit status: 0 done, 1 the target or pod says no, 2 usage or bad file.
int run_program(Context& context, std::vector<std::string> arguments);

// Adds the common options and every command.
void build_command_line(CLI::App& app, CommandSet& commands, CommonOptions& options);

// What is wrong with a command line, and where its help is.
[[nodiscard]] Error parse_error(const CLI::App& app, const CLI::ParseError& error);

// "--simulate X.toml" as one argument, "--simulate=X.toml": CLI11 would either take the command for
// the description or not take the description.
[[nodiscard]] std::vector<std::string> join_simulate(std::vector<std::string> arguments);

} // namespace talvor
