// talvor reset: resets the controller, and prints the reset log in words.
#include "host/driver/reset_log.h"
#include "tool/commands/commands.h"
#include "tool/commands/context.h"

namespace talvor {
namespace {

Status run_reset(Context& context, const ResetRequest& request) {
    Session& session = *TRY(context.session());
    const std::vector<ResetLogEntry> log = TRY(session.port().reset_controller(request));
    Json entries = Json::array();
    context.out.line("{}", context.out.tone(Tone::Strong, "Reset log"));
    for (const ResetLogEntry& entry : log) {
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

void add_reset(Command& program) {
    const auto request = command_options<ResetRequest>();
    Command command =
        program.command("reset", "Reset the controller and show the reset log in words",
                        [request](Context& context) { return run_reset(context, *request); });
    command.flag("--soft", request->soft, "Reset the controller by its control register");
    command.flag("--hard", request->hard, "Pulse the pod's reset line to the target");
    command.flag("--hidden", request->hidden,
                 "Keep the target undisturbed: outputs off meanwhile, TAP state restored");
    command.flag("--trst", request->trst, "Pulse TRSTn");
}

} // namespace talvor
