// talvor state: where the TAP stands, and moving it.
#include "commands/command_set.h"
#include "commands/values.h"

namespace talvor {
namespace {

struct MoveOptions {
    std::string to;
    bool via_idle = false;
    uint32_t times = 1;
};

Status report(Context& context, StableState state) {
    context.out.line("{}", name(state));
    context.out.result(Json{{"state", state_word(state)}, {"name", name(state)}});
    return {};
}

Status get(Context& context) {
    const Result<Session*> session = context.session();
    if (!session) {
        return session.error();
    }
    const Result<StableState> state = (*session)->port().ask_state();
    return state ? report(context, *state) : Status(state.error());
}

Status move(Context& context, const MoveOptions& options) {
    const Result<StableState> to = parse_state(options.to);
    if (!to) {
        return to.error();
    }
    const Result<Session*> session = context.session();
    if (!session) {
        return session.error();
    }
    PodPort& port = (*session)->port();
    for (uint32_t i = 0; i < options.times; ++i) {
        Status status = options.via_idle            ? port.move_via_idle(*to)
                        : *to == StableState::Reset ? port.reset_tap()
                                                    : port.move(*to);
        if (!status) {
            return status;
        }
    }
    return get(context);
}

} // namespace

void add_state(CommandSet& commands) {
    CLI::App& command = commands.add("state", "Show or change the TAP state", get);
    commands.add("get", "Show where the TAP stands", get, &command);
    const auto options = command_options<MoveOptions>();
    CLI::App& mover = commands.add(
        "move", "Move to a stable state and show it",
        [options](Context& context) { return move(context, *options); }, &command);
    mover.add_option("STATE", options->to, "reset, idle, pausedr or pauseir")->required();
    mover.add_flag("--via-idle", options->via_idle,
                   "Through Run-Test/Idle, where seven clocks are spent");
    mover.add_option("--times", options->times, "So many times over")
        ->check(CLI::PositiveNumber)
        ->capture_default_str();
}

} // namespace talvor
