#include "common/completion.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

namespace talvor::detail {
namespace {

// Prints the place that the words before the cursor have come to, as in "/link/find".
constexpr std::string_view kScript =
    R"(# Completion for {program} in fish: source it, or put it into a folder of fish_complete_path.
function _{function}_path
    set -l words (commandline -opc)
    set -l path ''
    set -l skip no
    for word in $words[2..-1]
        if test $skip = yes
            set skip no
            continue
        end
        if contains -- "$path $word" {skipped}
            or contains -- " $word" {skipped_anywhere}
            set skip yes
            continue
        end
{restart}        if contains -- "$path/$word" {paths}
            set path "$path/$word"
        end
    end
    echo "$path"
end
complete -c {program} -f
{completions})";

std::string quoted(std::string_view text) {
    std::string result = "'";
    for (const char letter : text) {
        if (letter == '\'' || letter == '\\') {
            result += '\\';
        }
        result += letter == '\n' ? ' ' : letter;
    }
    return result + "'";
}

bool wants_next_word(const OptionDescription& option) {
    return !option.value.empty() && !option.value_optional;
}

// Holds at a place; of what the program takes behind every command of it, everywhere.
std::string condition(const CommandDescription& program, const PlacedCommand& at) {
    const bool everywhere =
        at.path.empty() && !program.commands.empty() && program.commands[0].takes_outer_options;
    return everywhere ? ""
                      : fmt::format(" -n 'test (_{}_path) = \"{}\"'", function_name(program.name),
                                    at.path);
}

std::string option_line(const std::string& start, const OptionDescription& option) {
    std::string names;
    for (const std::string& name : option.names) {
        names += name.starts_with("--") ? " -l " + name.substr(2) : " -s " + name.substr(1);
    }
    std::string value;
    if (wants_next_word(option)) {
        value = is_file(option) ? " -r -F" : " -x";
        if (!option.words.empty()) {
            value += fmt::format(" -a '{}'", fmt::join(option.words, " "));
        }
    }
    return start + names + value + " -d " + quoted(option.text) + "\n";
}

std::string lines_of(const CommandDescription& program, const PlacedCommand& at) {
    const std::string start = "complete -c " + program.name;
    const std::string here = fmt::format("{} -n 'test (_{}_path) = \"{}\"'", start,
                                         function_name(program.name), at.path);
    std::string lines;
    for (const OptionDescription& option : at.command->options) {
        lines += option_line(start + condition(program, at), option);
        if (option.takes_program) {
            lines +=
                fmt::format("{} -n '__fish_contains_opt {}' -F -a '(__fish_complete_command)'\n",
                            start, option.names.front().substr(2));
        }
    }
    const CommandDescription& follows = at.command->takes_command ? program : *at.command;
    for (const CommandDescription& inner : follows.commands) {
        lines += fmt::format("{} -a {} -d {}\n", here, inner.name, quoted(inner.text));
    }
    for (const OptionDescription& value : at.command->positionals) {
        if (is_file(value)) {
            lines += here + " -F\n";
        } else if (!value.words.empty()) {
            lines += fmt::format("{} -a '{}'\n", here, fmt::join(value.words, " "));
        }
    }
    return lines;
}

std::string restart(const PlacedCommand& at) {
    return at.command->takes_command
               ? fmt::format(
                     "        if test \"$path\" = '{}'; and not string match -q -- '-*' $word\n"
                     "            set path ''\n        end\n",
                     at.path)
               : "";
}

} // namespace

std::string fish_completion(const CommandDescription& program) {
    std::vector<std::string> paths{"''"};
    std::vector<std::string> skipped{"''"};
    std::vector<std::string> skipped_anywhere{"''"};
    std::string completions;
    std::string restarts;
    for (const PlacedCommand& at : placed_commands(program)) {
        if (!at.path.empty()) {
            paths.push_back(quoted(at.path));
        }
        for (const OptionDescription& option : at.command->options) {
            for (const std::string& name : option.names) {
                if (wants_next_word(option)) {
                    (at.path.empty() ? skipped_anywhere : skipped)
                        .push_back(quoted(at.path + " " + name));
                }
            }
        }
        completions += lines_of(program, at);
        restarts += restart(at);
    }
    return fmt::format(kScript, fmt::arg("program", program.name),
                       fmt::arg("function", function_name(program.name)),
                       fmt::arg("skipped", fmt::join(skipped, " ")),
                       fmt::arg("skipped_anywhere", fmt::join(skipped_anywhere, " ")),
                       fmt::arg("restart", restarts), fmt::arg("paths", fmt::join(paths, " ")),
                       fmt::arg("completions", completions));
}

} // namespace talvor::detail
