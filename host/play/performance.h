// Checking a file and playing it then: the sequence, and what came of it.
#pragma once

#include "common/result.h"
#include "host/jtag/port.h"
#include "host/play/checker.h"
#include "host/play/plan.h"
#include "host/play/player.h"
#include "host/play/step_source.h"

#include <cstddef>
#include <optional>
#include <string>

namespace talvor::play {

// A file may have any number of mismatches; reports list the first ones.
inline constexpr size_t kListedMismatches = 1000;

struct Performance {
    std::optional<CheckReport> checked; // nothing: not checked, or the check was stopped
    std::optional<PlayReport> played;   // nothing: nothing was played
    std::optional<Error> error;         // what ended the check or the playing
};

// Checks a file, or does not, and plays it.
class Performer {
public:
    // Source and performance outlive it; the performance takes what came of each.
    Performer(StepSource& source, Performance& performance, size_t max_plan_bytes = Plan::kMaxBytes)
        : source_(source), performance_(performance), plan_(max_plan_bytes) {}

    // As play::check(). Whether all of it can be played. `plays`: it is played then, from what is
    // kept here, where the steps are the same each time and not too many; else the file is read
    // again.
    [[nodiscard]] bool check(ProgressHook progress, bool plays = true);
    // As Player::play(). Whether it came to its end, or to the mismatch that ends it.
    [[nodiscard]] bool play(JtagPort& port, PlayOptions options);

private:
    StepSource& source_;
    Performance& performance_;
    Plan plan_;
    bool planned_ = false; // the plan has all steps
};

// The wrong answer that first_error() tells; null where it tells something else, or nothing.
[[nodiscard]] const Mismatch* failed_answer(const Performance& performance) noexcept;

// What went wrong first in a file that messages call `file`: what ended the check or the playing,
// what cannot be played (of more than one how many and which is the first), a wrong answer, or what
// the file itself says. Nothing where all is well.
[[nodiscard]] std::optional<Error> first_error(const Performance& performance,
                                               const std::string& file);

// What cannot be played, as one error. Only of a report with refusals.
[[nodiscard]] Error refusal_of(const CheckReport& checked, const std::string& file);

} // namespace talvor::play
