// talvor completion: a completion script, made from the command line's own description.
#include "common/completion.h"

#include "host/driver/conditions.h"
#include "tool/commands/app.h"
#include "tool/commands/commands.h"
#include "tool/commands/context.h"
#include "tool/commands/values.h"
#include "tool/output/standard_streams.h"

namespace talvor {
namespace {

ValueWords value_words() {
    std::vector<std::string> conditions;
    conditions.reserve(kConditions.size());
    for (const Condition& condition : kConditions) {
        conditions.emplace_back(condition.word);
    }
    return {{"STATE", state_words()}, {"CONDITION", std::move(conditions)}};
}

Status print_script(Shell shell) {
    write_output(completion_script(shell, describe_program()));
    return {};
}

} // namespace

CommandDescription describe_program() {
    CommonOptions options;
    CommandLine line("talvor", kProgramSummary);
    build_command_line(line, options);
    CommandDescription program = line.description();
    enter_words(program, value_words());
    for (OptionDescription& option : program.options) {
        if (option.names.front() == "--simulate") {
            option.value = "FILE";
            option.value_optional = true;
        }
    }
    return program;
}

void add_completion(Command& program) {
    Command command = program.command("completion", "Print a completion script", nullptr);
    const auto add = [&command](const char* name, const char* about, Shell shell) {
        command.command(name, about, [shell](Context&) { return print_script(shell); })
            .makes_no_use_of(pod_options({"--simulate", "--board", "--library", "--json"}));
    };
    add("bash", "For bash: source <(talvor completion bash)", Shell::Bash);
    add("zsh", "For zsh, once compinit has run: source <(talvor completion zsh)", Shell::Zsh);
    add("fish", "For fish: talvor completion fish | source", Shell::Fish);
}

} // namespace talvor
