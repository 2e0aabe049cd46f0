// talvor run: the commands of a script over one connection.
#include "tool/commands/run.h"

#include "tool/commands/commands.h"
#include "tool/commands/context.h"
#include "tool/commands/line_runner.h"
#include "tool/commands/script_source.h"
#include "tool/output/standard_streams.h"

namespace talvor {
namespace {

// More is a script that runs itself.
constexpr uint32_t kDeepest = 16;

Status run_lines(LineRunner& runner, ScriptSource& source) {
    while (!runner.done()) {
        const std::optional<ScriptLine> line = TRY(source.next());
        if (!line) {
            return {};
        }
        TRY(runner.run(line->text, line->number));
        // Whoever wrote the line may wait for its answer; who reads no more has heard enough.
        if (!flush_output()) {
            return {};
        }
    }
    return {};
}

} // namespace

Status run_script(Context& context, const std::string& path) {
    if (context.script_depth == kDeepest) {
        return usage_error(path, "scripts run scripts, more than 16 deep");
    }
    ScriptSource source = TRY(ScriptSource::open(path));
    LineRunner runner(context, source.name());
    ++context.script_depth;
    const Status done = run_lines(runner, source);
    --context.script_depth;
    return done;
}

void add_run(Command& program) {
    const auto path = command_options<std::string>();
    Command command = program.command(
        "run", "Run the commands of a script over one connection, up to the first that fails",
        [path](Context& context) { return run_script(context, *path); });
    command.option("SCRIPT", *path, "A command a line; - is the standard input").required();
}

} // namespace talvor
