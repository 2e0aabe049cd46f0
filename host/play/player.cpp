#include "host/play/player.h"

#include "host/play/reading.h"

#include <algorithm>
#include <utility>

namespace talvor::play {

namespace {

using Clock = std::chrono::steady_clock;

// What a wait that grows from try to try grows to at most.
constexpr std::chrono::nanoseconds kLongestRetryWait = std::chrono::seconds(10);
constexpr uint64_t kMostRetryClocks = uint64_t{1} << 32;

// Where a step leaves the TAP that stood in `before`.
StableState after(const Step& step, StableState before) {
    switch (step.kind) {
    case Step::Kind::Scan:
        return step.scan.end;
    case Step::Kind::Path:
        return step.legs.empty() ? before : step.legs.back().to;
    case Step::Kind::Run:
        return step.run.end;
    case Step::Kind::Trst:
        return step.trst == TrstLevel::Asserted ? StableState::Reset : before;
    case Step::Kind::PulseTrst:
        return StableState::Reset;
    case Step::Kind::Nothing:
    case Step::Kind::Frequency:
        return before;
    }
    return before;
}

} // namespace

Status Player::play(StepSource& source) {
    report_ = {};
    tap_ = StableState::Reset;
    const Clock::time_point start = Clock::now();
    Status status = play_steps(source);
    report_.elapsed = Clock::now() - start;
    return status;
}

// A mismatch ends it without an error.
Status Player::play_steps(StepSource& source) {
    if (options_.reset_first) {
        TRY(port_.reset_tap());
    }
    Reading reading(Pass::Play, source, report_.summary, options_.progress, &report_.mismatches);
    TRY(reading.begin());
    Step step;
    while (true) {
        const Result<bool> more = reading.next(step);
        if (!more) {
            report_.stopped = Place{source.line(), "", tap_};
            return Failure(more.error());
        }
        if (!*more) {
            break;
        }
        Status status = play_step(source, step);
        if (status && (report_.mismatches == 0 || options_.keep_going)) {
            status = reading.tell();
        }
        if (!status || (report_.mismatches != 0 && !options_.keep_going)) {
            report_.summary.bytes = step.bytes;
            report_.summary.lines = step.line;
            report_.stopped =
                Place{step.line, std::string(source.statements()[step.statement]), tap_};
            return status ? port_.flush() : status;
        }
    }
    TRY(port_.flush());
    report_.complete = true;
    report_.verdict = source.verdict();
    return {};
}

Status Player::play_step(StepSource& source, const Step& step) {
    if (step.refusal) {
        return Failure(*step.refusal);
    }
    if (options_.on_statement) {
        options_.on_statement(step.line);
    }
    if (Status status = act(source, step); !status) {
        return at_statement(source.name(), step.line, source.statements()[step.statement],
                            std::move(status).error());
    }
    tap_ = after(step, tap_);
    return {};
}

Status Player::act(StepSource& source, const Step& step) {
    switch (step.kind) {
    case Step::Kind::Nothing:
        return {};
    case Step::Kind::Scan:
        return play_scan(source, step);
    case Step::Kind::Path:
        return play_path(step);
    case Step::Kind::Run:
        return play_run(step);
    case Step::Kind::Frequency:
        return port_.set_max_frequency(step.hertz);
    case Step::Kind::Trst:
        return port_.set_trst(step.trst);
    case Step::Kind::PulseTrst:
        return pulse_trst();
    }
    return {};
}

const Bits& Player::merged(const ScanStep& scan) {
    out_.clear();
    for (const ScanPart& part : scan.parts) {
        out_.append(part.tdi, part.length_bits);
    }
    return out_;
}

// The controller does not know that the pin moved the TAP: a reset by TMS makes them one again.
Status Player::pulse_trst() {
    TRY(port_.pulse_trst());
    return port_.reset_tap();
}

Status Player::play_scan(StepSource& source, const Step& step) {
    const ScanStep& scan = step.scan;
    const bool compares = scan.compares() && !scan.told;
    const Bits& out = merged(scan);
    TRY(port_.scan({scan.path, &out, compares || scan.told ? &in_ : nullptr, scan.end}));
    if (scan.told) {
        source.answer(step, in_);
    }
    if (compares && scan.retry.times != 0) {
        TRY(scan_again(scan));
    }
    if (compares) {
        uint64_t offset = 0;
        for (const ScanPart& part : scan.parts) {
            if (part.compares()) {
                judge(source, step, part, offset);
            }
            offset += part.length_bits;
        }
    }
    return {};
}

// As long as the answer is wrong and may be asked for again.
Status Player::scan_again(const ScanStep& scan) {
    uint64_t clocks = scan.retry.clocks;
    std::chrono::nanoseconds time = scan.retry.time;
    for (uint32_t left = scan.retry.times; left != 0 && !agrees(scan); --left) {
        clocks = std::max(clocks, std::min(clocks + clocks / 4, kMostRetryClocks));
        time = std::max(time, std::min(time + time / 4, kLongestRetryWait));
        TRY(port_.run(StableState::Idle, clocks, time));
        TRY(port_.scan({scan.path, &out_, &in_, scan.end}));
    }
    return {};
}

bool Player::agrees(const ScanStep& scan) const {
    uint64_t offset = 0;
    for (const ScanPart& part : scan.parts) {
        if (part.compares() &&
            compare(in_.slice(offset, part.length_bits), part.tdo, part.mask).has_value()) {
            return false;
        }
        offset += part.length_bits;
    }
    return true;
}

void Player::judge(const StepSource& source, const Step& step, const ScanPart& part,
                   uint64_t offset) {
    if (only_idcodes_ && step.scan.path == ScanPath::Dr) {
        only_idcodes_ = looks_like_idcode(part.length_bits, part.tdo, part.mask);
    }
    std::optional<Mismatch> mismatch =
        part.length_bits == in_.size()
            ? compare(in_, part.tdo, part.mask)
            : compare(in_.slice(offset, part.length_bits), part.tdo, part.mask);
    if (!mismatch) {
        return;
    }
    mismatch->line = step.line;
    mismatch->statement = source.statements()[part.statement];
    mismatch->of_idcode = only_idcodes_ && step.scan.path == ScanPath::Dr;
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
    const RunStep& run = step.run;
    const Clock::time_point start = Clock::now();
    TRY(port_.run(run.state, run.clocks, run.min_time));
    if (run.max_time && Clock::now() - start > *run.max_time && report_.overlong_runs++ == 0) {
        report_.first_overlong_line = step.line;
    }
    return run.end == run.state ? Status() : port_.move(run.end);
}

} // namespace talvor::play
