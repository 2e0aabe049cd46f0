// One pass over the steps of a file: counts them, and tells how far it is.
#pragma once

#include "common/result.h"
#include "host/play/progress.h"
#include "host/play/step_source.h"
#include "host/play/summary.h"

#include <cstdint>
#include <string>

namespace talvor::play {

// Of a file of so many bytes that plays nothing: it is the wrong one, or was cut off.
[[nodiscard]] Failure plays_nothing(const std::string& file, uint64_t bytes);

class Reading {
public:
    // All outlive it. `mismatches`, when given, goes into the progress.
    Reading(Pass pass, StepSource& source, Summary& summary, const ProgressHook& progress,
            const uint64_t* mismatches = nullptr)
        : pass_(pass), source_(source), summary_(summary), progress_(progress),
          mismatches_(mismatches) {}
    ~Reading() { source_.on_chunk({}); }
    Reading(const Reading&) = delete;
    Reading& operator=(const Reading&) = delete;

    // Back to the first step.
    [[nodiscard]] Status begin();
    // The next step, as StepSource::next() gives it, counted.
    [[nodiscard]] Result<bool> next(Step& step);
    // Tells the progress; an error (ErrorKind::Usage) when its hook wants to stop.
    [[nodiscard]] Status tell() const;

private:
    [[nodiscard]] bool told() const;

    Pass pass_;
    StepSource& source_;
    Summary& summary_;
    const ProgressHook& progress_;
    const uint64_t* mismatches_;
};

} // namespace talvor::play
