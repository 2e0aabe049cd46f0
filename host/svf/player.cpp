#include "host/svf/player.h"

#include "host/play/checker.h"

namespace talvor::svf {

namespace {

Result<play::PlayReport> played(play::StepSource& source, JtagPort& port,
                                const PlayOptions& options) {
    play::Player player(port, options);
    TRY(player.play(source));
    return player.report();
}

} // namespace

Result<play::PlayReport> play(play::ByteSource& source, JtagPort& port,
                              const PlayOptions& options) {
    Reader reader(source, port, options.reader);
    return played(reader, port, options);
}

Result<play::PlayReport> check_and_play(play::ByteSource& source, JtagPort& port,
                                        const PlayOptions& options) {
    Reader reader(source, port, options.reader);
    play::Plan plan(options.max_plan_bytes);
    const play::CheckReport checked = TRY(play::check(reader, {options.progress, &plan}));
    if (!checked.can_be_played()) {
        return Failure(checked.refusals.front());
    }
    if (!plan.whole()) {
        return played(reader, port, options);
    }
    play::PlanReader planned(plan, reader);
    return played(planned, port, options);
}

} // namespace talvor::svf
