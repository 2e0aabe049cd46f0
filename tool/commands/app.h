// The program: its command line, and what it ends with.
#pragma once

#include "tool/command_line/command_line.h"
#include "tool/commands/context.h"

#include <string>
#include <vector>

namespace talvor {

inline constexpr const char* kProgramSummary = "Drives JTAG targets through emulator pods.";

// Parses `arguments` (without the program's name) and runs what they say within `context`. Returns
// the exit status: 0 done, 1 the target or pod says no, 2 usage or bad file.
int run_program(Context& context, std::vector<std::string> arguments);

// Adds the common options and every command; `options` live as long as the command line.
void build_command_line(CommandLine& line, CommonOptions& options);

// The command line as data, with the words that its values may have.
[[nodiscard]] CommandDescription describe_program();
// Adds the commands that can stand in a session, over a connection that others use, too.
void add_session_commands(Command& program);

// "--simulate X.toml" as one argument, "--simulate=X.toml": a command line of options and values
// would either take the command for the description or not take the description.
[[nodiscard]] std::vector<std::string> join_simulate(std::vector<std::string> arguments);

} // namespace talvor
