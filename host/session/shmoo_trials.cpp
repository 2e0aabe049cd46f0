#include "host/session/shmoo_trials.h"

#include "host/session/chain_trial.h"

#include <fmt/format.h>

#include <algorithm>

namespace talvor {
namespace {

constexpr double kDefaultLeastHertz = 500e3;

// One clock, with each delay.
Status try_row(Session& session, const Chain& chain, size_t bits, size_t clock, Shmoo& shmoo,
               ShmooWatcher& watcher) {
    const Verdict moved = TRY(verdict_of(session.port().set_clock(shmoo.clocks[clock].setting)));
    for (size_t delay = 0; delay < shmoo.delays.size(); ++delay) {
        TRY(apply_link_delay(session, shmoo.delays[delay]));
        const bool works = !moved && !TRY(try_chain(session, chain, bits));
        shmoo.set(clock, delay, works);
        if (!watcher.cell(works)) {
            return refused_error("shmoo", "stopped before its end");
        }
    }
    return {};
}

} // namespace

Result<std::vector<ShmooClock>> shmoo_clocks(const TestClock& clock, std::optional<double> least,
                                             std::optional<double> most, size_t count) {
    const auto fastest = static_cast<double>(clock.fastest());
    const auto slowest = static_cast<double>(clock.slowest());
    const double from = least.value_or(std::max(kDefaultLeastHertz, slowest));
    const double to = most.value_or(fastest);
    std::vector<ShmooClock> clocks = spread_clocks(clock, from, to, count);
    if (clocks.empty()) {
        return usage_error(
            "test clock",
            fmt::format("the pod has none from {} to {}", frequency_text(from), frequency_text(to)),
            fmt::format("choose --minimum and --maximum between {} and {}", frequency_text(slowest),
                        frequency_text(fastest)));
    }
    return clocks;
}

Status try_shmoo(Session& session, size_t bits, Shmoo& shmoo, ShmooWatcher& watcher) {
    TRY(session.port().set_clock(shmoo.clocks.back().setting));
    const Chain chain = TRY(discover_with_any_delay(session, bits));
    watcher.begin(shmoo);
    for (size_t clock = 0; clock < shmoo.clocks.size(); ++clock) {
        watcher.row(shmoo.clocks[clock]);
        TRY(try_row(session, chain, bits, clock, shmoo, watcher));
        watcher.end_row();
    }
    return {};
}

} // namespace talvor
