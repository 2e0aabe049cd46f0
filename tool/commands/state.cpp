// talvor state: where the TAP stands, and moving it.
#include "tool/commands/commands.h"
#include "tool/commands/context.h"
#include "tool/commands/values.h"

namespace talvor {
namespace {

struct MoveOptions {
    std::string to;
    bool via_idle = false;
    uint32_t times = 1;
};

Status get(Context& context) {
    Session& session = *TRY(context.session());
    const StableState state = TRY(session.port().ask_state());
    context.out.line("{}", name_of(state));
    context.out.result(Json{{"state", state_word(state)}, {"name", name_of(state)}});
    return {};
}

Status move_once(PodPort& port, StableState to, bool via_idle) {
    if (via_idle) {
        return port.move_via_idle(to);
    }
    return to == StableState::Reset ? port.reset_tap() : port.move(to);
}

Status move(Context& context, const MoveOptions& options) {
    const StableState to = TRY(parse_state(options.to));
    Session& session = *TRY(context.session());
    for (uint32_t i = 0; i < options.times; ++i) {
        TRY(move_once(session.port(), to, options.via_idle));
    }
    return get(context);
}

} // namespace

void add_state(Command& program) {
    Command command = program.command("state", "Show or change the TAP state", get);
    command.command("get", "Show where the TAP stands", get);
    const auto options = command_options<MoveOptions>();
    Command mover =
        command.command("move", "Move to a stable state and show it",
                        [options](Context& context) { return move(context, *options); });
    mover.option("STATE", options->to, "reset, idle, pausedr or pauseir").required();
    mover.flag("--via-idle", options->via_idle,
               "Through Run-Test/Idle, where seven clocks are spent");
    mover.option("--times", options->times, "So many times over").positive().show_default();
}

} // namespace talvor
