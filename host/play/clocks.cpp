#include "host/play/clocks.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <string>
#include <string_view>

namespace talvor::play {

namespace {

constexpr double kLongestSeconds = 1000.0 * 24 * 3600;

// A time as people write it.
std::string time_text(std::chrono::nanoseconds time) {
    constexpr std::array<std::string_view, 4> kUnits{"ns", "us", "ms", "s"};
    auto value = static_cast<double>(time.count());
    size_t unit = 0;
    for (; value >= 1000 && unit + 1 < kUnits.size(); ++unit) {
        value /= 1000;
    }
    return fmt::format("{:.6g} {}", value, kUnits[unit]);
}

} // namespace

std::optional<std::chrono::nanoseconds> to_time(double seconds) noexcept {
    if (seconds < 0 || seconds > kLongestSeconds) {
        return std::nullopt;
    }
    // A binary fraction is rarely the decimal one that was written: a millionth of a nanosecond too
    // much is no reason to round up.
    return std::chrono::nanoseconds(static_cast<int64_t>(std::ceil(seconds * 1e9 - 1e-6)));
}

bool clocks_become_time(const JtagPort& port, std::optional<double> hertz, RunStep& run,
                        std::vector<Note>& notes) {
    const double most = port.hertz_at_most(hertz);
    const std::optional<std::chrono::nanoseconds> time =
        run.state != StableState::Idle && most > 0 ? to_time(static_cast<double>(run.clocks) / most)
                                                   : std::nullopt;
    if (!time) {
        return false;
    }
    notes.push_back({NoteKind::Clocks,
                     fmt::format("{} clocks in {} are played as {}, their time at {:.6g} MHz",
                                 run.clocks, name_of(run.state), time_text(*time), most / 1e6)});
    run.min_time = std::max(run.min_time, *time);
    run.clocks = 0;
    return true;
}

} // namespace talvor::play
