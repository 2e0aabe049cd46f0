// Plays steps on a JTAG port, whatever format they come from.
#pragma once

#include "common/result.h"
#include "host/jtag/port.h"
#include "host/play/mismatch.h"
#include "host/play/progress.h"
#include "host/play/step.h"
#include "host/play/step_source.h"
#include "host/play/summary.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace talvor::play {

struct PlayOptions {
    ProgressHook progress;                            // may be empty
    bool keep_going = false;                          // past mismatches
    bool reset_first = true;                          // files assume a TAP in Test-Logic-Reset
    std::function<void(const Mismatch&)> on_mismatch; // each one as it is found; may be empty
    std::function<void(uint64_t line)> on_statement;  // before each is played; may be empty
};

// Where a run ended before its time.
struct Place {
    uint64_t line = 1;
    std::string statement;
    // The TAP's state after the last statement that was played to its end.
    StableState tap = StableState::Reset;
};

struct PlayReport {
    Summary summary; // of what was played
    uint64_t mismatches = 0;
    std::optional<Mismatch> first_mismatch;
    uint64_t overlong_runs = 0; // runs that took longer than their maximum
    uint64_t first_overlong_line = 0;
    bool complete = false;        // played to the end
    std::optional<Error> verdict; // what the file itself says went wrong; when complete
    std::optional<Place> stopped; // by a mismatch, an error or on request; nothing when complete
    std::chrono::nanoseconds elapsed{0};
};

class Player {
public:
    // The port outlives the player.
    Player(JtagPort& port, PlayOptions options) : port_(port), options_(std::move(options)) {}

    // Plays `source` from its first step to its last, or to the first mismatch. Errors are those of
    // the file (BadFile, Refused), of the port, and a hook that stopped it (Usage), with file and
    // line where a statement is to blame; report() tells in each case how far it came.
    [[nodiscard]] Status play(StepSource& source);
    [[nodiscard]] const PlayReport& report() const noexcept { return report_; }

private:
    [[nodiscard]] Status play_steps(StepSource& source);
    [[nodiscard]] Status play_step(StepSource& source, const Step& step);
    [[nodiscard]] Status act(StepSource& source, const Step& step);
    [[nodiscard]] Status play_scan(StepSource& source, const Step& step);
    [[nodiscard]] Status scan_again(const ScanStep& scan);
    [[nodiscard]] bool agrees(const ScanStep& scan) const;
    void judge(const StepSource& source, const Step& step, const ScanPart& part, uint64_t offset);
    [[nodiscard]] Status play_leg(const Leg& leg);
    [[nodiscard]] Status play_path(const Step& step);
    [[nodiscard]] Status play_run(const Step& step);
    [[nodiscard]] Status pulse_trst();
    [[nodiscard]] const Bits& merged(const ScanStep& scan);

    JtagPort& port_;
    PlayOptions options_;
    PlayReport report_;
    Bits out_; // header, body and trailer in one; kept for its memory
    Bits in_;
    StableState tap_ = StableState::Reset;
    bool only_idcodes_ = true; // so far, of the DR answers that are compared
};

} // namespace talvor::play
