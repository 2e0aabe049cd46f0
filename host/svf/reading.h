// The loop that both passes over a file share.
#pragma once

#include "common/result.h"
#include "host/jtag/port.h"
#include "host/svf/parser.h"
#include "host/svf/progress.h"
#include "host/svf/source.h"
#include "host/svf/step.h"
#include "host/svf/summary.h"

#include <functional>

namespace talvor::svf {

// What is done with each step; an error ends the reading.
using StepHandler = std::function<Status(const Step&)>;

// Reads `source` from its start, plans each statement for `port` and hands its step to `handle`.
// `summary` counts the steps up to and with the one that ended it; `mismatches`, when given, goes
// into the progress.
[[nodiscard]] Status read_steps(ByteSource& source, const JtagPort& port, Pass pass,
                                const ParserLimits& limits, const ProgressHook& progress,
                                Summary& summary, const StepHandler& handle,
                                const uint64_t* mismatches = nullptr);

} // namespace talvor::svf
