// The pass over a file before anything is shifted.
#pragma once

#include "common/result.h"
#include "host/jtag/port.h"
#include "host/svf/parser.h"
#include "host/svf/progress.h"
#include "host/svf/source.h"
#include "host/svf/summary.h"

namespace talvor::svf {

struct CheckOptions {
    ParserLimits limits;
    ProgressHook progress; // may be empty
};

// Reads `source` from its start to its end and asks `port` only what it can do. Answers the counts,
// or the first statement that breaks the format (BadFile) or that the port cannot do (Refused).
[[nodiscard]] Result<Summary> check(ByteSource& source, const JtagPort& port,
                                    const CheckOptions& options = {});

} // namespace talvor::svf
