#include "common/completion.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>

namespace talvor::detail {
namespace {

constexpr std::string_view kScript =
    R"(#compdef {program}
# Completion for {program} in zsh: a file of a folder in fpath, or sourced once compinit has run.
{functions}
if [[ $funcstack[1] == {function} ]]; then
  {function} "$@"
else
  compdef {function} {program}
fi
)";

constexpr std::string_view kFunction = R"(
{name}() {{
  local curcontext=$curcontext state line
  _arguments -C -S {arguments}
{states}}}
)";

// What stands in single quotes, and there within a specification of _arguments.
std::string quoted(std::string_view text) {
    std::string result;
    for (const char letter : text) {
        switch (letter) {
        case '\'':
            result += "'\\''";
            break;
        case '[':
        case ']':
        case ':':
        case '\\':
            result += '\\';
            result += letter;
            break;
        case '\n':
            result += ' ';
            break;
        default:
            result += letter;
        }
    }
    return result;
}

// "FILE:_files": what a value is called, and what is offered for it.
std::string value_spec(const OptionDescription& option) {
    const std::string name = quoted(option.value);
    if (!option.words.empty()) {
        return fmt::format("{}:({})", name, fmt::join(option.words, " "));
    }
    return name + (is_file(option) ? ":_files" : ": ");
}

std::string option_specs(const CommandDescription& program, const CommandDescription& command) {
    std::string specs;
    for (const OptionDescription& option : options_at(program, command)) {
        for (const std::string& name : option.names) {
            const bool with_equals = name.starts_with("--") && !option.value.empty();
            const std::string value =
                option.value.empty() ? ""
                                     : (option.value_optional ? "::" : ":") + value_spec(option);
            specs += fmt::format(" \\\n    '*{}{}[{}]{}'", name,
                                 !with_equals            ? ""
                                 : option.value_optional ? "=-"
                                                         : "=",
                                 quoted(option.text), value);
        }
    }
    return specs;
}

std::string positional_specs(const CommandDescription& command) {
    std::string specs;
    for (const OptionDescription& value : command.positionals) {
        // The last one may stand there again.
        const bool last = &value == &command.positionals.back();
        specs += fmt::format(" \\\n    '{}:{}'", last ? "*" : "", value_spec(value));
    }
    return specs;
}

std::string describe_commands(const CommandDescription& command) {
    std::string list;
    for (const CommandDescription& inner : command.commands) {
        list += fmt::format("      '{}:{}'\n", inner.name, quoted(inner.text));
    }
    return list;
}

std::string own_function(const CommandDescription& program, std::string_view path) {
    std::string name = function_name(program.name);
    for (const char letter : path) {
        name += letter == '/' ? '_' : letter;
    }
    return name;
}

bool takes_file(const CommandDescription& command) {
    return std::any_of(command.positionals.begin(), command.positionals.end(), is_file);
}

// The commands of the program or of one of its commands, each with a function of its own.
std::string states(const CommandDescription& program, const CommandDescription& command,
                   const std::string& path) {
    std::string calls;
    for (const CommandDescription& inner : command.commands) {
        calls += fmt::format("    {}) {} ;;\n", inner.name,
                             own_function(program, path + "/" + inner.name));
    }
    return fmt::format("  case $state in\n"
                       "  command)\n"
                       "    local -a commands=(\n{}    )\n"
                       "    _describe command commands{} ;;\n"
                       "  arguments)\n"
                       "    case $words[1] in\n{}    esac ;;\n"
                       "  esac\n",
                       describe_commands(command), takes_file(command) ? "; _files" : "", calls);
}

std::string function_of(const CommandDescription& program, const PlacedCommand& at) {
    const CommandDescription& command = *at.command;
    const CommandDescription& follows = command.takes_command ? program : command;
    const std::string& path = command.takes_command ? "" : at.path;
    std::string arguments = option_specs(program, command);
    if (follows.commands.empty()) {
        arguments += positional_specs(command);
        return fmt::format(kFunction, fmt::arg("name", own_function(program, at.path)),
                           fmt::arg("arguments", arguments), fmt::arg("states", ""));
    }
    arguments += " \\\n    '1: :->command' \\\n    '*:: :->arguments'";
    return fmt::format(kFunction, fmt::arg("name", own_function(program, at.path)),
                       fmt::arg("arguments", arguments),
                       fmt::arg("states", states(program, follows, path)));
}

} // namespace

std::string zsh_completion(const CommandDescription& program) {
    std::string functions;
    for (const PlacedCommand& at : placed_commands(program)) {
        functions += function_of(program, at);
    }
    return fmt::format(kScript, fmt::arg("program", program.name), fmt::arg("functions", functions),
                       fmt::arg("function", function_name(program.name)));
}

} // namespace talvor::detail
