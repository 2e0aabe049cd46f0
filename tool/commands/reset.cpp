// talvor reset: resets the controller, and prints the reset log in words.
#include "commands/command_set.h"
#include "session/reset_log.h"

namespace talvor {
namespace {

Status run_reset(Context& context, const ResetRequest& request) {
    const Result<Session*> session = context.session();
    if (!session) {
        return session.error();
    }
    const auto log = reset((*session)->pod(), request);
    if (!log) {
        return log.error();
    }
    Json entries = Json::array();
    context.out.line("{}", context.out.tone(Tone::Strong, "Reset log"));
    for (const ResetLogEntry& entry : *log) {
        context.out.line("  {:>2}  {}", entry.key, sentence(entry));
        Json json{{"key", entry.key}, {"text", sentence(entry)}};
        if (entry.number) {
            json["number"] = *entry.number;
        }
        entries.push_back(std::move(json));
    }
    context.out.result(Json{{"log", std::move(entries)}});
    return {};
}

} // namespace

void add_reset(CommandSet& commands) {
    const auto request = command_options<ResetRequest>();
    CLI::App& command =
        commands.add("reset", "Reset the controller and show the reset log in words",
                     [request](Context& context) { return run_reset(context, *request); });
    command.add_flag("--soft", request->soft, "Reset the controller by its control register");
    command.add_flag("--hard", request->hard, "Pulse the pod's reset line to the target");
    command.add_flag("--hidden", request->hidden,
                     "Keep the target undisturbed: outputs off meanwhile, TAP state restored");
    command.add_flag("--trst", request->trst, "Pulse TRSTn");
}

} // namespace talvor
