// talvor completion: a completion script, made from the command line's own description.
#include <algorithm>

#include "commands/command_set.h"

namespace talvor {
namespace {

// The long names of a command's options, and its subcommands; what has no group is hidden.
std::vector<std::string> words_of(const CLI::App& app) {
    std::vector<std::string> words;
    for (const CLI::Option* option : app.get_options()) {
        for (const std::string& name : option->get_lnames()) {
            if (!option->get_group().empty()) {
                words.push_back("--" + name);
            }
        }
    }
    for (const CLI::App* command : app.get_subcommands({})) {
        words.push_back(command->get_name());
    }
    std::sort(words.begin(), words.end());
    words.erase(std::unique(words.begin(), words.end()), words.end());
    return words;
}

std::string joined(const std::vector<std::string>& words) {
    return fmt::format("{}", fmt::join(words, " "));
}

// A case for each command and each command of a command: which words may follow.
std::string cases(const CLI::App& app, const std::string& path) {
    std::string text;
    for (const CLI::App* command : app.get_subcommands({})) {
        const std::string name =
            path.empty() ? command->get_name() : path + " " + command->get_name();
        text += fmt::format("    '{}') words='{}' ;;\n", name, joined(words_of(*command)));
        text += cases(*command, name);
    }
    return text;
}

std::string bash_script(const CLI::App& app) {
    std::string names;
    std::string nested;
    for (const CLI::App* command : app.get_subcommands({})) {
        names += (names.empty() ? "" : "|") + command->get_name();
        for (const CLI::App* inner : command->get_subcommands({})) {
            nested += fmt::format("{}'{} {}'", nested.empty() ? "" : "|", command->get_name(),
                                  inner->get_name());
        }
    }
    return fmt::format(R"(# Completion for talvor in bash: source <(talvor completion bash)
_talvor() {{
  local current=${{COMP_WORDS[COMP_CWORD]}} command='' word words
  local i
  for ((i = 1; i < COMP_CWORD; i++)); do
    word=${{COMP_WORDS[i]}}
    case "$command" in
    '')
      case "$word" in {}) command=$word ;; esac ;;
    trace)
      case "$word" in {}) command=$word ;; esac ;;
    *)
      case "$command $word" in {}) command="$command $word" ;; esac ;;
    esac
  done
  words=''
  case "$command" in
    '') words='{}' ;;
{}  esac
  if [[ -n $command ]]; then words="$words {}"; fi
  COMPREPLY=($(compgen -W "$words" -- "$current"))
}}
complete -o default -F _talvor talvor
)",
                       names, names, nested, joined(words_of(app)), cases(app, ""), [&app] {
                           std::vector<std::string> common;
                           for (std::string& word : words_of(app)) {
                               if (word.starts_with("--")) {
                                   common.push_back(std::move(word));
                               }
                           }
                           return joined(common);
                       }());
}

} // namespace

void add_completion(CommandSet& commands) {
    CLI::App& app = commands.app();
    CLI::App& command = commands.add("completion", "Print a completion script", nullptr);
    commands.add(
        "bash", "For bash: source <(talvor completion bash)",
        [&app](Context&) -> Status {
            fmt::print("{}", bash_script(app));
            return {};
        },
        &command);
}

} // namespace talvor
