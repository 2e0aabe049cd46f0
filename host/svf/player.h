// Plays an SVF file on a JTAG port.
#pragma once

#include "common/result.h"
#include "host/jtag/port.h"
#include "host/svf/mismatch.h"
#include "host/svf/parser.h"
#include "host/svf/progress.h"
#include "host/svf/source.h"
#include "host/svf/step.h"
#include "host/svf/summary.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>

namespace talvor::svf {

struct PlayOptions {
    ParserLimits limits;
    ProgressHook progress;                            // may be empty
    bool keep_going = false;                          // past mismatches
    bool reset_first = true;                          // files assume a TAP in Test-Logic-Reset
    std::function<void(const Mismatch&)> on_mismatch; // each one as it is found; may be empty
};

struct PlayReport {
    Summary summary; // of what was played
    uint64_t mismatches = 0;
    std::optional<Mismatch> first_mismatch;
    uint64_t overlong_runs = 0; // RUNTESTs that took longer than their MAXIMUM
    uint64_t first_overlong_line = 0;
    bool complete = true; // false: a mismatch ended it before the end of the file
    std::chrono::nanoseconds elapsed{0};
};

// Plays steps one by one; what is between a plan and a port.
class Player {
public:
    Player(JtagPort& port, PlayReport& report, const PlayOptions& options)
        : port_(port), report_(report), options_(options) {}

    // Errors are the port's. A mismatch is none: it is counted and handed to on_mismatch.
    [[nodiscard]] Status play(const Step& step);

private:
    [[nodiscard]] Status play_scan(const Step& step);
    void judge(const Step& step, const ScanPart& part, uint64_t offset);
    [[nodiscard]] Status play_leg(const Leg& leg);
    [[nodiscard]] Status play_path(const Step& step);
    [[nodiscard]] Status play_run(const Step& step);
    [[nodiscard]] const Bits& merged(const PlannedScan& scan);

    JtagPort& port_;
    PlayReport& report_;
    const PlayOptions& options_;
    Bits out_; // header, body and trailer in one; kept for its memory
    Bits in_;
};

// Plays `source` from its start to its end, or to the first mismatch. Errors are those of the file
// (BadFile, Refused) and of the port, all with file and line. Nothing is checked ahead: see
// check_and_play.
[[nodiscard]] Result<PlayReport> play(ByteSource& source, JtagPort& port,
                                      const PlayOptions& options = {});

// Checks the whole file first, so that nothing is shifted unless everything can be.
[[nodiscard]] Result<PlayReport> check_and_play(ByteSource& source, JtagPort& port,
                                                const PlayOptions& options = {});

} // namespace talvor::svf
