// The search for the highest test clock at which a target works: a ramp up, a bisection, steps
// back.
#pragma once

#include "common/result.h"
#include "host/clock/test_clock.h"
#include "host/driver/library.h"
#include "jsc_external.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace talvor {

enum class SearchPhase : uint8_t { Ramp, Bisection, Margin };

// Of the coordinates from 500 kHz on: the highest that is not above `hertz` (500 kHz when all are),
// and the lowest that is not below.
[[nodiscard]] coord_t coordinate_below(decltype(&::pll_CoordToHertz) to_hertz, uint64_t hertz);
[[nodiscard]] coord_t coordinate_above(decltype(&::pll_CoordToHertz) to_hertz, uint64_t hertz);

// One frequency that the search asked for.
struct SearchTrial {
    SearchPhase phase = SearchPhase::Ramp;
    coord_t coordinate = 0;
    uint64_t wanted_hz = 0;
    std::optional<ClockSetting> setting; // the fastest that is not above; nothing: the pod has none
    uint64_t actual_hz = 0;
    bool passed = false;
    bool repeated = false; // the setting had been tried before; the answer is that of then
    std::string failure;   // why it did not pass
};

struct SearchLimits {
    coord_t start = PLL_TCLK_W_MINIMUM;
    coord_t finish = PLL_TCLK_W_MAXIMUM;
    coord_t minimum = PLL_TCLK_W_MINIMUM;
    coord_t maximum = PLL_TCLK_W_MAXIMUM;
    uint32_t advance = PLL_TCLK_MARGIN_ADVANCE;
    uint32_t retreat = PLL_TCLK_MARGIN_RETREAT;
};

struct SearchResult {
    std::vector<SearchTrial> trials;
    std::optional<SearchTrial> highest; // of the trials that passed before the steps back
    std::optional<SearchTrial> chosen;  // what remains after them; nothing: no clock works
};

// Tries one setting: nothing when the target works with it, else why not. An error ends the search.
using TrialRunner = std::function<Result<std::optional<std::string>>(const ClockSetting&)>;

// The steps back begin at the clock that the pod really made, so that the margin is one.
[[nodiscard]] Result<SearchResult> search_test_clock(const Library::TestClockFunctions& functions,
                                                     const TestClock& clock,
                                                     const SearchLimits& limits,
                                                     const TrialRunner& run);

} // namespace talvor
