// A shmoo: at which test clocks and with which link delays a chain works.
#pragma once

#include "common/result.h"
#include "host/clock/test_clock.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace talvor {

struct ShmooClock {
    ClockSetting setting;
    uint64_t hertz = 0;

    friend bool operator==(const ShmooClock&, const ShmooClock&) = default;
};

// Test clocks of a pod from `most` down to `least` hertz, at most `count` (1 or more) of them, on
// a scale of octaves. None when the pod has none there.
[[nodiscard]] std::vector<ShmooClock> spread_clocks(const TestClock& clock, double least,
                                                    double most, size_t count);

struct Shmoo {
    std::vector<ShmooClock> clocks; // the fastest first
    std::vector<uint32_t> delays;   // one after the other, ascending
    std::vector<bool> works;        // a row a clock

    Shmoo(std::vector<ShmooClock> all_clocks, std::vector<uint32_t> all_delays)
        : clocks(std::move(all_clocks)), delays(std::move(all_delays)),
          works(clocks.size() * delays.size()) {}

    [[nodiscard]] bool at(size_t clock, size_t delay) const {
        return works[clock * delays.size() + delay];
    }
    void set(size_t clock, size_t delay, bool value) {
        works[clock * delays.size() + delay] = value;
    }
};

// Where to work: within the widest opening of one link delay, the fastest clock that is well below
// one that fails.
struct ShmooChoice {
    size_t clock = 0; // indices into the lists
    size_t delay = 0;
    size_t fastest = 0; // the ends of the opening
    size_t slowest = 0;
    size_t delays_below = 0; // that work at that clock, next to it without a gap
    size_t delays_above = 0;

    friend bool operator==(const ShmooChoice&, const ShmooChoice&) = default;
};

// What the clock stays below the next one that fails, at least.
inline constexpr double kShmooMargin = 0.2;

// Nothing when nothing works. The widest opening is that of most octaves; of several as wide that
// with most neighbours, then that with the smallest delay.
[[nodiscard]] std::optional<ShmooChoice> choose(const Shmoo& shmoo);

// The margin of a choice as a part of its clock: how much faster the next one is that fails.
// Nothing when none above it was seen to fail.
[[nodiscard]] std::optional<double> margin_above(const Shmoo& shmoo, const ShmooChoice& choice);

// A whole SVG file: clocks upwards, link delays to the right, what works in green, the choice with
// a ring.
[[nodiscard]] std::string to_svg(const Shmoo& shmoo, const std::string& title);

} // namespace talvor
