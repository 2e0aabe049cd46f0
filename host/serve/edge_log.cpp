#include "host/serve/edge_log.h"

#include <utility>

namespace talvor {

Status EdgeLog::start() {
    TRY(port_.start());
    state_ = port_.state();
    scanning_ = false;
    idle_clocks_ = 0;
    trst_ = false;
    srst_ = false;
    next_tdo_.reset();
    return {};
}

Status EdgeLog::finish() {
    end_idle();
    end_scan(state_);
    return port_.finish();
}

Status EdgeLog::clock(const Bits& tms, const Bits& tdi, Bits* tdo, const Bits* asked) {
    TRY(port_.clock(tms, tdi, tdo, asked));
    for (size_t i = 0; i < tms.size() && !trst_; ++i) {
        const std::optional<bool> early = std::exchange(next_tdo_, std::nullopt);
        const bool known = tdo != nullptr && (asked == nullptr || (*asked)[i]);
        edge(tms[i], tdi[i], known ? (*tdo)[i] : early.value_or(true), known || early.has_value());
    }
    return {};
}

Result<bool> EdgeLog::tdo() {
    next_tdo_ = TRY(port_.tdo());
    return *next_tdo_;
}

Status EdgeLog::set_trst(bool asserted) {
    TRY(port_.set_trst(asserted));
    if (std::exchange(trst_, asserted) != asserted) {
        hook_({.kind = ClientAct::Kind::Trst, .asserted = asserted});
        state_ = port_.state();
        scanning_ = false;
    }
    return {};
}

Status EdgeLog::set_srst(bool asserted) {
    TRY(port_.set_srst(asserted));
    if (std::exchange(srst_, asserted) != asserted) {
        hook_({.kind = ClientAct::Kind::Srst, .asserted = asserted});
    }
    return {};
}

Status EdgeLog::set_max_frequency(double hertz) {
    Status set = port_.set_max_frequency(hertz);
    hook_({.kind = ClientAct::Kind::Clock, .hertz = port_.hertz()});
    return set;
}

void EdgeLog::edge(bool tms, bool tdi, bool tdo, bool asked) {
    if (is_shift(state_)) {
        shifted(tdi, tdo, asked);
    }
    const TapState before = std::exchange(state_, next_state(state_, tms));
    if (state_ == TapState::RunTestIdle && before == TapState::RunTestIdle) {
        ++idle_clocks_;
    } else if (state_ != before) {
        entered(state_);
    }
}

void EdgeLog::shifted(bool tdi, bool tdo, bool asked) {
    if (scan_.count < ClientAct::kKeptBits) {
        scan_.out.append(Bits(1, tdi));
        scan_.in.append(Bits(1, tdo));
    }
    scan_.answered = scan_.answered && asked;
    ++scan_.count;
}

void EdgeLog::entered(TapState state) {
    end_idle();
    switch (state) {
    case TapState::TestLogicReset:
        hook_({.kind = ClientAct::Kind::Reset, .end = state});
        break;
    case TapState::CaptureDr:
    case TapState::CaptureIr:
        begin_scan(state == TapState::CaptureIr ? ScanPath::Ir : ScanPath::Dr, false);
        break;
    case TapState::Exit2Dr:
    case TapState::Exit2Ir:
        begin_scan(state == TapState::Exit2Ir ? ScanPath::Ir : ScanPath::Dr, true);
        break;
    case TapState::PauseDr:
    case TapState::PauseIr:
    case TapState::UpdateDr:
    case TapState::UpdateIr:
        end_scan(state);
        break;
    default:
        break;
    }
}

void EdgeLog::begin_scan(ScanPath path, bool resumed) {
    scan_ = {.kind = ClientAct::Kind::Scan, .path = path, .answered = true, .resumed = resumed};
    scanning_ = true;
}

// One that goes on from a Pause state and shifts nothing is none.
void EdgeLog::end_scan(TapState state) {
    if (std::exchange(scanning_, false) && (scan_.count != 0 || !scan_.resumed)) {
        scan_.end = state;
        scan_.answered = scan_.answered && scan_.count != 0;
        hook_(scan_);
    }
}

void EdgeLog::end_idle() {
    if (const uint64_t clocks = std::exchange(idle_clocks_, 0); clocks != 0) {
        hook_({.kind = ClientAct::Kind::Idle, .count = clocks});
    }
}

} // namespace talvor
