#include "host/clock/tclk_search.h"

#include "host/driver/error_text.h"

#include <fmt/format.h>

#include <algorithm>

namespace talvor {
namespace {

// The three phases over one history record.
class Search {
public:
    Search(const Library::TestClockFunctions& functions, const TestClock& clock,
           const SearchLimits& limits, const TrialRunner& run)
        : functions_(functions), clock_(clock), run_(run) {
        history_.start = limits.start;
        history_.finish = limits.finish;
        history_.advance = limits.advance;
        history_.retreat = limits.retreat;
        history_.minimum = limits.minimum;
        history_.maximum = limits.maximum;
    }

    Result<SearchResult> find() {
        TRY(ramp());
        if (result_.highest && !result_.trials.back().passed) {
            TRY(bisect(result_.trials.back().coordinate));
        }
        if (result_.highest) {
            const coord_t real = coordinate_below(functions_.to_hertz, result_.highest->actual_hz);
            TRY(step_back(real));
        }
        return std::move(result_);
    }

private:
    // Upwards until a trial fails or the end is reached.
    Status ramp() {
        coord_t last = 0;
        uint32_t request = PLL_STATE_STEP_INIT;
        for (bool done = false; !done; request = PLL_STATE_STEP) {
            TRY(next(false, last, request, done, last));
            TRY(attempt(SearchPhase::Ramp, last));
            if (!result_.trials.back().passed) {
                return {};
            }
            result_.highest = result_.trials.back();
        }
        return {};
    }

    // Between the frequency that failed and half of it.
    Status bisect(coord_t failed_at) {
        bool done = false;
        coord_t last = failed_at;
        TRY(next(false, last, PLL_STATE_POWER_INIT, done, last));
        while (true) {
            TRY(attempt(SearchPhase::Bisection, last));
            const bool failed = !result_.trials.back().passed;
            if (!failed && !functions_.at_least(result_.highest->coordinate, last)) {
                result_.highest = result_.trials.back();
            }
            TRY(next(failed, last, PLL_STATE_POWER, done, last));
            if (done) {
                return {};
            }
        }
    }

    // Down by the margin until a trial passes.
    Status step_back(coord_t from) {
        bool done = false;
        coord_t last = from;
        uint32_t request = PLL_STATE_MARGIN_INIT;
        while (!done) {
            TRY(next(false, last, request, done, last));
            TRY(attempt(SearchPhase::Margin, last));
            if (result_.trials.back().passed) {
                result_.chosen = result_.trials.back();
                return {};
            }
            request = PLL_STATE_MARGIN;
        }
        return {};
    }

    Status next(bool failed, coord_t last, uint32_t request, bool& done, coord_t& coordinate) {
        const int code = functions_.next(failed, last, request, &done, &coordinate, &history_);
        return code == 0 ? Status() : library_error("frequency search", code);
    }

    Status attempt(SearchPhase phase, coord_t coordinate) {
        SearchTrial trial;
        trial.phase = phase;
        trial.coordinate = coordinate;
        trial.wanted_hz = functions_.to_hertz(coordinate);
        trial.setting = clock_.at_most(static_cast<double>(trial.wanted_hz));
        TRY(judge(trial));
        result_.trials.push_back(std::move(trial));
        return {};
    }

    // Tries the setting, unless it has been tried before.
    Status judge(SearchTrial& trial) {
        if (!trial.setting) {
            trial.failure = "the pod has no test clock that slow";
            return {};
        }
        trial.actual_hz = clock_.hertz(*trial.setting);
        const auto before =
            std::find_if(result_.trials.begin(), result_.trials.end(),
                         [&trial](const SearchTrial& old) { return old.setting == trial.setting; });
        if (before != result_.trials.end()) {
            trial.passed = before->passed;
            trial.failure = before->failure;
            trial.repeated = true;
            return {};
        }
        const std::optional<std::string> why_not = TRY(run_(*trial.setting));
        trial.passed = !why_not.has_value();
        trial.failure = why_not.value_or("");
        return {};
    }

    const Library::TestClockFunctions& functions_;
    const TestClock& clock_;
    const TrialRunner& run_;
    PLL_Next history_{};
    SearchResult result_;
};

} // namespace

coord_t coordinate_below(decltype(&::pll_CoordToHertz) to_hertz, uint64_t hertz) {
    coord_t best = PLL_TCLK_W_MINIMUM;
    for (y_coord_t y = PLL_TCLK_Y_MIN; y <= PLL_TCLK_Y_MAX; ++y) {
        for (uint32_t z = PLL_TCLK_Z_MIN; z <= PLL_TCLK_Z_MAX; ++z) {
            const coord_t coordinate = PLL_TCLK_PACK(y, z);
            if (to_hertz(coordinate) <= hertz) {
                best = coordinate;
            }
        }
    }
    return best;
}

coord_t coordinate_above(decltype(&::pll_CoordToHertz) to_hertz, uint64_t hertz) {
    for (y_coord_t y = PLL_TCLK_Y_MIN; y <= PLL_TCLK_Y_MAX; ++y) {
        for (uint32_t z = PLL_TCLK_Z_MIN; z <= PLL_TCLK_Z_MAX; ++z) {
            const coord_t coordinate = PLL_TCLK_PACK(y, z);
            if (to_hertz(coordinate) >= hertz) {
                return coordinate;
            }
        }
    }
    return PLL_TCLK_W_MAXIMUM;
}

Result<SearchResult> search_test_clock(const Library::TestClockFunctions& functions,
                                       const TestClock& clock, const SearchLimits& limits,
                                       const TrialRunner& run) {
    return Search(functions, clock, limits, run).find();
}

} // namespace talvor
