#include "common/completion.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

namespace talvor::detail {
namespace {

// `path` grows with each command met; what an option takes is skipped. Bash splits words at "=".
constexpr std::string_view kScript =
    R"(# Completion for {program} in bash: source it, or put it where bash-completion finds it.
{function}() {{
  local current=${{COMP_WORDS[COMP_CWORD]}} previous=${{COMP_WORDS[COMP_CWORD - 1]}}
  local path='' words='' files='' word i
  for ((i = 1; i < COMP_CWORD; i++)); do
    word=${{COMP_WORDS[i]}}
    case "$path $word" in
{programs}    {skipped})
      if [[ ${{COMP_WORDS[i + 1]}} == '=' ]]; then ((i += 2)); else ((i++)); fi
      continue ;;
    esac
{restart}    case "$path/$word" in
      {paths}) path=$path/$word ;;
    esac
  done
  if [[ $current == '=' ]]; then
    current='' previous=$previous=
  elif [[ $previous == '=' ]]; then
    previous=${{COMP_WORDS[COMP_CWORD - 2]}}=
  fi
  case "$path $previous" in
{values}    *)
      case "$path" in
{commands}      esac ;;
  esac
  COMPREPLY=($(compgen -W "$words" -- "$current"))
  if [[ $files ]]; then
    compopt -o filenames
    COMPREPLY+=($(compgen -f -- "$current"))
  fi
}}
complete -F {function} {program}
)";

// The patterns of an option at a place: anywhere for those of the program.
std::string patterns(const PlacedCommand& at, const OptionDescription& option) {
    std::vector<std::string> all;
    for (const std::string& name : option.names) {
        all.push_back(at.path.empty() ? fmt::format("*' {}'", name)
                                      : fmt::format("'{} {}'", at.path, name));
    }
    return fmt::format("{}", fmt::join(all, " | "));
}

bool wants_next_word(const OptionDescription& option) {
    return !option.value.empty() && !option.value_optional;
}

// Those of a value that is about to be written, behind a blank or behind "=".
std::string value_patterns(const PlacedCommand& at, OptionDescription option) {
    const std::vector<std::string> names = option.names;
    if (option.value_optional) {
        option.names.clear();
    }
    for (const std::string& name : names) {
        if (name.starts_with("--")) {
            option.names.push_back(name + "=");
        }
    }
    return patterns(at, option);
}

std::string values(const PlacedCommand& at) {
    std::string text;
    for (const OptionDescription& option : at.command->options) {
        if (!option.value.empty()) {
            text += fmt::format("    {}) words='{}'{} ;;\n", value_patterns(at, option),
                                fmt::join(option.words, " "), is_file(option) ? " files=yes" : "");
        }
    }
    return text;
}

// What may stand at a place: options, commands, values.
std::string offered(const PlacedCommand& at, const CommandDescription& program) {
    std::vector<std::string> words;
    bool files = false;
    for (const OptionDescription& option : options_at(program, *at.command)) {
        words.insert(words.end(), option.names.begin(), option.names.end());
    }
    for (const CommandDescription& inner : at.command->commands) {
        words.push_back(inner.name);
    }
    if (at.command->takes_command) {
        for (const CommandDescription& inner : program.commands) {
            words.push_back(inner.name);
        }
    }
    for (const OptionDescription& value : at.command->positionals) {
        words.insert(words.end(), value.words.begin(), value.words.end());
        files = files || is_file(value);
    }
    return fmt::format("        '{}') words='{}'{} ;;\n", at.path, fmt::join(words, " "),
                       files ? " files=yes" : "");
}

// Behind an option that takes a program that program's own completion goes on, where there is one.
std::string programs(const PlacedCommand& at) {
    std::string text;
    for (const OptionDescription& option : at.command->options) {
        if (option.takes_program) {
            text += fmt::format("    {})\n"
                                "      if declare -F _command_offset >/dev/null; then\n"
                                "        _command_offset $((i + 1))\n"
                                "      else\n"
                                "        COMPREPLY=($(compgen -c -f -- \"$current\"))\n"
                                "      fi\n"
                                "      return ;;\n",
                                patterns(at, option));
        }
    }
    return text;
}

// A command that takes another command begins anew behind it.
std::string restart(const PlacedCommand& at) {
    return at.command->takes_command
               ? fmt::format("    if [[ $path == '{}' && $word != -* ]]; then path=''; fi\n",
                             at.path)
               : "";
}

} // namespace

std::string bash_completion(const CommandDescription& program) {
    std::vector<std::string> paths{"''"};
    std::vector<std::string> skipped{"''"};
    std::string all_values;
    std::string commands;
    std::string restarts;
    std::string other_programs;
    for (const PlacedCommand& at : placed_commands(program)) {
        if (!at.path.empty()) {
            paths.push_back(fmt::format("'{}'", at.path));
        }
        for (const OptionDescription& option : at.command->options) {
            if (wants_next_word(option)) {
                skipped.push_back(patterns(at, option));
            }
        }
        // Those of commands before those of the program, which fit everywhere.
        all_values = at.path.empty() ? values(at) : values(at) + all_values;
        commands += offered(at, program);
        restarts += restart(at);
        other_programs += programs(at);
    }
    return fmt::format(kScript, fmt::arg("program", program.name),
                       fmt::arg("function", function_name(program.name)),
                       fmt::arg("programs", other_programs),
                       fmt::arg("skipped", fmt::join(skipped, " | ")),
                       fmt::arg("restart", restarts), fmt::arg("paths", fmt::join(paths, " | ")),
                       fmt::arg("values", all_values), fmt::arg("commands", commands));
}

} // namespace talvor::detail
