// talvor completion: a completion script, made from the command line's own description.
#include "tool/commands/commands.h"
#include "tool/output/standard_streams.h"

#include <fmt/core.h>

#include <algorithm>

namespace talvor {
namespace {

constexpr std::string_view kBashScript =
    R"(# Completion for talvor in bash: source <(talvor completion bash)
_talvor() {{
  local current=${{COMP_WORDS[COMP_CWORD]}} command='' word words
  local i
  for ((i = 1; i < COMP_CWORD; i++)); do
    word=${{COMP_WORDS[i]}}
    case "$command" in
    '')
      case "$word" in {names}) command=$word ;; esac ;;
    trace)
      case "$word" in {names}) command=$word ;; esac ;;
    *)
      case "$command $word" in {nested}) command="$command $word" ;; esac ;;
    esac
  done
  words=''
  case "$command" in
    '') words='{top}' ;;
{cases}  esac
  if [[ -n $command ]]; then words="$words {common}"; fi
  COMPREPLY=($(compgen -W "$words" -- "$current"))
}}
complete -o default -F _talvor talvor
)";

// The long names of a command's options, and its subcommands.
std::vector<std::string> words_of(const Command& command) {
    std::vector<std::string> words = command.option_names();
    for (const Command& inner : command.commands()) {
        words.push_back(inner.name());
    }
    std::sort(words.begin(), words.end());
    words.erase(std::unique(words.begin(), words.end()), words.end());
    return words;
}

std::string joined(const std::vector<std::string>& words, std::string_view between = " ") {
    std::string text;
    for (const std::string& word : words) {
        text += text.empty() ? "" : between;
        text += word;
    }
    return text;
}

// A case for each command and each command of a command: which words may follow.
std::string cases(const Command& command, const std::string& path) {
    std::string text;
    for (const Command& inner : command.commands()) {
        const std::string name = path.empty() ? inner.name() : path + " " + inner.name();
        text += fmt::format("    '{}') words='{}' ;;\n", name, joined(words_of(inner)));
        text += cases(inner, name);
    }
    return text;
}

std::string bash_script(const Command& program) {
    std::vector<std::string> names;
    std::vector<std::string> nested;
    for (const Command& command : program.commands()) {
        names.push_back(command.name());
        for (const Command& inner : command.commands()) {
            nested.push_back(fmt::format("'{} {}'", command.name(), inner.name()));
        }
    }
    const std::vector<std::string> top = words_of(program);
    std::vector<std::string> common = top;
    std::erase_if(common, [](const std::string& word) { return !word.starts_with("--"); });
    return fmt::format(kBashScript, fmt::arg("names", joined(names, "|")),
                       fmt::arg("nested", joined(nested, "|")), fmt::arg("top", joined(top)),
                       fmt::arg("cases", cases(program, "")), fmt::arg("common", joined(common)));
}

} // namespace

void add_completion(Command& program) {
    Command command = program.command("completion", "Print a completion script", nullptr);
    command.command("bash", "For bash: source <(talvor completion bash)",
                    [program](Context&) -> Status {
                        write_output(bash_script(program));
                        return {};
                    });
}

} // namespace talvor
