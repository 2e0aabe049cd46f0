#include "common/completion.h"

#include <algorithm>

namespace talvor {

std::optional<Shell> shell_named(std::string_view name) {
    if (name == "bash") {
        return Shell::Bash;
    }
    if (name == "zsh") {
        return Shell::Zsh;
    }
    return name == "fish" ? std::optional(Shell::Fish) : std::nullopt;
}

std::string completion_script(Shell shell, const CommandDescription& program) {
    switch (shell) {
    case Shell::Bash:
        return detail::bash_completion(program);
    case Shell::Zsh:
        return detail::zsh_completion(program);
    case Shell::Fish:
        return detail::fish_completion(program);
    }
    return "";
}

namespace detail {
namespace {

void place(const CommandDescription& command, const std::string& path,
           std::vector<PlacedCommand>& placed) {
    placed.push_back({path, &command});
    for (const CommandDescription& inner : command.commands) {
        place(inner, path + "/" + inner.name, placed);
    }
}

} // namespace

std::vector<PlacedCommand> placed_commands(const CommandDescription& program) {
    std::vector<PlacedCommand> placed;
    place(program, "", placed);
    return placed;
}

std::vector<OptionDescription> options_at(const CommandDescription& program,
                                          const CommandDescription& command) {
    std::vector<OptionDescription> options = command.options;
    if (!command.takes_outer_options) {
        return options;
    }
    for (const OptionDescription& outer : program.options) {
        const bool own = std::any_of(
            command.options.begin(), command.options.end(),
            [&](const OptionDescription& option) { return option.names == outer.names; });
        if (!own) {
            options.push_back(outer);
        }
    }
    return options;
}

std::string function_name(std::string_view program) {
    std::string name = "_" + std::string(program);
    std::replace(name.begin(), name.end(), '-', '_');
    return name;
}

} // namespace detail
} // namespace talvor
