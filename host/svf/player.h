// Plays an SVF file on a JTAG port, in one call.
#pragma once

#include "common/result.h"
#include "host/jtag/port.h"
#include "host/play/plan.h"
#include "host/play/player.h"
#include "host/play/source.h"
#include "host/svf/reader.h"

namespace talvor::svf {

struct PlayOptions : play::PlayOptions {
    ReaderOptions reader;
    size_t max_plan_bytes = play::Plan::kMaxBytes; // beyond it the file is read twice
};

// Plays `source` from its start to its end, or to the first mismatch. Errors are those of the file
// (BadFile, Refused) and of the port, all with file and line. Nothing is checked ahead: see
// check_and_play.
[[nodiscard]] Result<play::PlayReport> play(play::ByteSource& source, JtagPort& port,
                                            const PlayOptions& options = {});

// Checks the whole file first, so that nothing is shifted unless everything can be.
[[nodiscard]] Result<play::PlayReport> check_and_play(play::ByteSource& source, JtagPort& port,
                                                      const PlayOptions& options = {});

} // namespace talvor::svf
