#include "host/clock/shmoo.h"

#include <algorithm>
#include <cmath>
#include <tuple>

namespace talvor {
namespace {

double octaves(const Shmoo& shmoo, size_t fastest, size_t slowest) {
    return std::log2(static_cast<double>(shmoo.clocks[fastest].hertz) /
                     static_cast<double>(shmoo.clocks[slowest].hertz));
}

// How many delays next to `delay` work at `clock`, one after the other in the direction `step`.
size_t neighbours(const Shmoo& shmoo, size_t clock, size_t delay, int step) {
    size_t count = 0;
    for (auto at = static_cast<ptrdiff_t>(delay) + step;
         at >= 0 && at < static_cast<ptrdiff_t>(shmoo.delays.size()) &&
         shmoo.at(clock, static_cast<size_t>(at));
         at += step) {
        ++count;
    }
    return count;
}

// The clock to take in an opening: the first from the fast end that keeps the margin.
size_t clock_in(const Shmoo& shmoo, size_t fastest, size_t slowest) {
    if (fastest == 0) {
        return fastest; // nothing above has failed
    }
    const double most = static_cast<double>(shmoo.clocks[fastest - 1].hertz) * (1 - kShmooMargin);
    size_t clock = fastest;
    while (clock<slowest&& static_cast<double>(shmoo.clocks[clock].hertz)> most) {
        ++clock;
    }
    return clock;
}

ShmooChoice choice_in(const Shmoo& shmoo, size_t delay, size_t fastest, size_t slowest) {
    const size_t clock = clock_in(shmoo, fastest, slowest);
    return {clock,
            delay,
            fastest,
            slowest,
            neighbours(shmoo, clock, delay, -1),
            neighbours(shmoo, clock, delay, +1)};
}

// Better is greater.
std::tuple<double, size_t> rank(const Shmoo& shmoo, const ShmooChoice& choice) {
    return {octaves(shmoo, choice.fastest, choice.slowest),
            std::min(choice.delays_below, choice.delays_above)};
}

// The fastest that is not above `wanted`, or, where that is below `least`, the next faster one.
std::optional<ShmooClock> clock_near(const TestClock& clock, double least, double most,
                                     double wanted) {
    constexpr double kStep = 1.02;
    constexpr double kRounding = 1 + 1e-9;
    for (; wanted <= most * kStep; wanted *= kStep) {
        const auto setting = clock.at_most(std::min(wanted, most) * kRounding);
        if (setting && static_cast<double>(clock.hertz(*setting)) * kRounding >= least) {
            return ShmooClock{*setting, clock.hertz(*setting)};
        }
    }
    return std::nullopt;
}

} // namespace

std::vector<ShmooClock> spread_clocks(const TestClock& clock, double least, double most,
                                      size_t count) {
    std::vector<ShmooClock> clocks;
    for (size_t i = 0; i < count; ++i) {
        const double part =
            count == 1 ? 0 : static_cast<double>(i) / static_cast<double>(count - 1);
        const auto found = clock_near(clock, least, most, most * std::pow(least / most, part));
        if (found && (clocks.empty() || found->hertz < clocks.back().hertz)) {
            clocks.push_back(*found);
        }
    }
    return clocks;
}

std::optional<ShmooChoice> choose(const Shmoo& shmoo) {
    std::optional<ShmooChoice> best;
    for (size_t delay = 0; delay < shmoo.delays.size(); ++delay) {
        for (size_t clock = 0; clock < shmoo.clocks.size(); ++clock) {
            if (!shmoo.at(clock, delay)) {
                continue;
            }
            const size_t fastest = clock;
            while (clock + 1 < shmoo.clocks.size() && shmoo.at(clock + 1, delay)) {
                ++clock;
            }
            const ShmooChoice choice = choice_in(shmoo, delay, fastest, clock);
            if (!best || rank(shmoo, choice) > rank(shmoo, *best)) {
                best = choice;
            }
        }
    }
    return best;
}

std::optional<double> margin_above(const Shmoo& shmoo, const ShmooChoice& choice) {
    if (choice.fastest == 0) {
        return std::nullopt;
    }
    return static_cast<double>(shmoo.clocks[choice.fastest - 1].hertz) /
               static_cast<double>(shmoo.clocks[choice.clock].hertz) -
           1;
}

} // namespace talvor
