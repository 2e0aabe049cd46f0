#include "host/svf/player.h"

#include "host/play/performance.h"

#include <utility>

namespace talvor::svf {

namespace {

Result<play::PlayReport> report_of(bool played, play::Performance performance) {
    if (!played) {
        return Failure(performance.error ? *std::move(performance.error)
                                         : std::move(performance.checked->refusals.front()));
    }
    return *std::move(performance.played);
}

} // namespace

Result<play::PlayReport> play(play::ByteSource& source, JtagPort& port,
                              const PlayOptions& options) {
    Reader reader(source, port, options.reader);
    play::Performance performance;
    const bool played = play::Performer(reader, performance).play(port, options);
    return report_of(played, std::move(performance));
}

Result<play::PlayReport> check_and_play(play::ByteSource& source, JtagPort& port,
                                        const PlayOptions& options) {
    Reader reader(source, port, options.reader);
    play::Performance performance;
    play::Performer performer(reader, performance, options.max_plan_bytes);
    const bool played = performer.check(options.progress) && performer.play(port, options);
    return report_of(played, std::move(performance));
}

} // namespace talvor::svf
