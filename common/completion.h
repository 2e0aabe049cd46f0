// Completion scripts for shells, made from a program's description.
#pragma once

#include "common/command_description.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace talvor {

enum class Shell { Bash, Zsh, Fish };

// "bash", "zsh", "fish"; nothing for any other word.
[[nodiscard]] std::optional<Shell> shell_named(std::string_view name);

// The script: it offers commands, options, the words that a value may have, and files. Options of
// the program are offered behind a command, too, where the program takes them there.
[[nodiscard]] std::string completion_script(Shell shell, const CommandDescription& program);

namespace detail {

[[nodiscard]] std::string bash_completion(const CommandDescription& program);
[[nodiscard]] std::string zsh_completion(const CommandDescription& program);
[[nodiscard]] std::string fish_completion(const CommandDescription& program);

// A command with its place: "" is the program, "/link/find" one of a command's.
struct PlacedCommand {
    std::string path;
    const CommandDescription* command = nullptr;
};

// The program and all of its commands, each before its own.
[[nodiscard]] std::vector<PlacedCommand> placed_commands(const CommandDescription& program);

// The options that may stand behind a command: its own, and the program's where it takes those.
[[nodiscard]] std::vector<OptionDescription> options_at(const CommandDescription& program,
                                                        const CommandDescription& command);

// "talvor-podsim" as a shell function may be named.
[[nodiscard]] std::string function_name(std::string_view program);

} // namespace detail
} // namespace talvor
