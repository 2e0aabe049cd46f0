// The pass over an SVF file before anything is shifted.
#pragma once

#include "common/result.h"
#include "host/jtag/port.h"
#include "host/play/progress.h"
#include "host/play/source.h"
#include "host/play/summary.h"
#include "host/svf/reader.h"

namespace talvor::svf {

struct CheckOptions {
    ReaderOptions reader;
    play::ProgressHook progress; // may be empty
};

// Reads `source` from its start to its end and asks `port` only what it can do. Answers the counts,
// or the first statement that breaks the format (BadFile) or that the port cannot do (Refused).
// play::check() lists them all.
[[nodiscard]] Result<play::Summary> check(play::ByteSource& source, const JtagPort& port,
                                          const CheckOptions& options = {});

} // namespace talvor::svf
