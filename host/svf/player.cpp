#include "host/svf/player.h"

#include "host/svf/checker.h"
#include "host/svf/planner.h"
#include "host/svf/reading.h"

namespace talvor::svf {

namespace {

using Clock = std::chrono::steady_clock;

} // namespace

Status Player::play(const Step& step) {
    switch (step.kind) {
    case Step::Kind::Nothing:
        return {};
    case Step::Kind::Scan:
        return play_scan(step);
    case Step::Kind::Path:
        return play_path(step);
    case Step::Kind::Run:
        return play_run(step);
    case Step::Kind::Frequency:
        return port_.set_max_frequency(step.hertz);
    case Step::Kind::Trst:
        return port_.set_trst(step.trst);
    }
    return {};
}

// A body without header and trailer is shifted from where it lies.
const Bits& Player::merged(const PlannedScan& scan) {
    for (const ScanPart& part : scan.parts) {
        if (part.length_bits == scan.total_bits) {
            return *part.tdi;
        }
    }
    out_.clear();
    for (const ScanPart& part : scan.parts) {
        if (part.length_bits != 0) {
            out_.append(*part.tdi);
        }
    }
    return out_;
}

Status Player::play_scan(const Step& step) {
    const PlannedScan& scan = step.scan;
    const bool compares = scan.compares();
    const Bits& out = merged(scan);
    TRY(port_.scan({scan.path, &out, compares ? &in_ : nullptr, scan.end}));
    if (compares) {
        uint64_t offset = 0;
        for (const ScanPart& part : scan.parts) {
            if (part.compares()) {
                judge(step, part, offset);
            }
            offset += part.length_bits;
        }
    }
    return {};
}

void Player::judge(const Step& step, const ScanPart& part, uint64_t offset) {
    std::optional<Mismatch> mismatch =
        part.length_bits == in_.size()
            ? compare(in_, *part.tdo, part.mask)
            : compare(in_.slice(offset, part.length_bits), *part.tdo, part.mask);
    if (!mismatch) {
        return;
    }
    mismatch->line = step.line;
    mismatch->kind = part.kind;
    ++report_.mismatches;
    if (options_.on_mismatch) {
        options_.on_mismatch(*mismatch);
    }
    if (!report_.first_mismatch) {
        report_.first_mismatch = std::move(mismatch);
    }
}

Status Player::play_leg(const Leg& leg) {
    switch (leg.kind) {
    case Leg::Kind::Reset:
        return port_.reset_tap();
    case Leg::Kind::Move:
        return port_.move(leg.to);
    case Leg::Kind::Stay:
        return port_.run(leg.to, leg.clocks, std::chrono::nanoseconds(0));
    }
    return {};
}

Status Player::play_path(const Step& step) {
    for (const Leg& leg : step.legs) {
        TRY(play_leg(leg));
    }
    return {};
}

Status Player::play_run(const Step& step) {
    const PlannedRun& run = step.run;
    const Clock::time_point start = Clock::now();
    TRY(port_.run(run.state, run.clocks, run.min_time));
    if (run.max_time && Clock::now() - start > *run.max_time && report_.overlong_runs++ == 0) {
        report_.first_overlong_line = step.line;
    }
    return run.end == run.state ? Status() : port_.move(run.end);
}

Result<PlayReport> play(ByteSource& source, JtagPort& port, const PlayOptions& options) {
    PlayReport report;
    const Clock::time_point start = Clock::now();
    if (options.reset_first) {
        TRY(port.reset_tap());
    }
    Player player(port, report, options);
    // A mismatch ends the reading by an error that never leaves this function.
    const auto handle = [&](const Step& step) -> Status {
        if (Status status = player.play(step); !status) {
            return at_statement(source.name(), step.line, step.statement,
                                std::move(status).error());
        }
        report.complete = report.mismatches == 0 || options.keep_going;
        return report.complete ? Status() : failure("a mismatch");
    };
    const Status status = read_steps(source, port, Pass::Play, options.limits, options.progress,
                                     report.summary, handle, &report.mismatches);
    if (!status && report.complete) {
        return Failure(status.error());
    }
    TRY(port.flush());
    report.elapsed = Clock::now() - start;
    return report;
}

Result<PlayReport> check_and_play(ByteSource& source, JtagPort& port, const PlayOptions& options) {
    (void)TRY(check(source, port, {options.limits, options.progress}));
    return play(source, port, options);
}

} // namespace talvor::svf
