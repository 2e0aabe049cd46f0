// A chain of TAPs that is clocked edge by edge, and the line of a pod before such a chain: the same
// edges and what an engine makes of them must do the same to both.
#pragma once

#include "common/tap_state.h"
#include "host/bridge/edge_line.h"
#include "tests/host/scan/scan_target.h"

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace talvor {

// Something that a target has seen happen.
struct TargetEvent {
    enum class Kind : uint8_t { Reset, Capture, Update };
    Kind kind = Kind::Reset;
    ScanPath path = ScanPath::Dr;
    std::vector<uint8_t> content{}; // of the path, the bit nearest TDO first

    friend bool operator==(const TargetEvent&, const TargetEvent&) = default;
};

class EdgeTarget {
public:
    explicit EdgeTarget(ScanTarget target) : target_(std::move(target)) { target_.reset(); }

    // A rising edge; the level that TDO has before it.
    bool clock(bool tms, bool tdi) {
        const bool level = tdo(tdi);
        idle_clocks += state_ == TapState::RunTestIdle ? 1U : 0U;
        shift_clocks += is_shift(state_) ? 1U : 0U;
        ++clocks;
        if (is_shift(state_)) {
            (void)target_.shift(tdi);
        }
        const TapState before = std::exchange(state_, next_state(state_, tms));
        if (before != state_) {
            enter();
        }
        return level;
    }
    void walk(TmsPath path) {
        for (unsigned i = 0; i < path.count; ++i) {
            clock(((path.tms >> i) & 1U) != 0, true);
        }
    }
    // TDO now; without a register it is TDI.
    [[nodiscard]] bool tdo(bool tdi) const {
        return !is_shift(state_) || target_.nearest_tdo().value_or(tdi);
    }
    void pulse_trst() {
        state_ = TapState::TestLogicReset;
        enter();
    }

    [[nodiscard]] TapState state() const { return state_; }
    [[nodiscard]] const ScanTarget& chain() const { return target_; }
    [[nodiscard]] ScanPath path() const { return path_; }
    [[nodiscard]] std::vector<TargetEvent> take_events() { return std::exchange(events_, {}); }

    uint64_t idle_clocks = 0;
    uint64_t shift_clocks = 0;
    uint64_t clocks = 0;

private:
    void enter() {
        switch (state_) {
        case TapState::TestLogicReset:
            target_.reset();
            events_.push_back({TargetEvent::Kind::Reset});
            return;
        case TapState::CaptureDr:
        case TapState::CaptureIr:
            path_ = state_ == TapState::CaptureIr ? ScanPath::Ir : ScanPath::Dr;
            target_.capture(path_);
            events_.push_back({TargetEvent::Kind::Capture, path_, target_.content()});
            return;
        case TapState::UpdateDr:
        case TapState::UpdateIr:
            events_.push_back({TargetEvent::Kind::Update, path_, target_.content()});
            target_.update(path_);
            return;
        default:
            return;
        }
    }

    ScanTarget target_;
    TapState state_ = TapState::TestLogicReset;
    ScanPath path_ = ScanPath::Dr;
    std::vector<TargetEvent> events_;
};

// A pod before a chain: goes where it is told as a controller does, and its return path holds bits
// back.
class TargetLine final : public EdgeLine {
public:
    // `older` is what the return path holds at first.
    TargetLine(ScanTarget chain, uint16_t older) : target(std::move(chain)), held_(older) {}

    [[nodiscard]] Status send(ScanPath path, const Bits& out, StableState end) override {
        note("send", path, out.size(), end);
        Bits none;
        return shift(path, out, none, end);
    }
    [[nodiscard]] Status exchange(ScanPath path, const Bits& out, Bits& in,
                                  StableState end) override {
        ++exchanges;
        note("exchange", path, out.size(), end);
        return shift(path, out, in, end);
    }
    [[nodiscard]] Status move(StableState to) override {
        note("move " + std::string(name_of(to)));
        if (fails_) {
            return failed();
        }
        if (to == StableState::PauseDr || to == StableState::PauseIr) {
            target.walk(shortest_path(target.state(), to == StableState::PauseDr
                                                          ? TapState::CaptureDr
                                                          : TapState::CaptureIr));
        }
        target.walk(shortest_path(target.state(), tap_state(to)));
        return {};
    }
    [[nodiscard]] Status idle(uint32_t times) override {
        note("idle " + std::to_string(times));
        for (uint64_t i = 0; i < times * kIdleClocks; ++i) {
            target.clock(false, true);
        }
        return fails_ ? failed() : Status();
    }
    [[nodiscard]] Status reset_tap() override {
        note("reset");
        target.walk(kResetPath);
        return {};
    }
    [[nodiscard]] Result<StableState> ask_state() override {
        note("ask");
        if (fails_) {
            return failed();
        }
        return stable_state(target.state()).value_or(StableState::Reset);
    }
    [[nodiscard]] Status pulse_trst() override {
        note("trst");
        target.pulse_trst();
        return {};
    }
    [[nodiscard]] Status pulse_srst() override {
        note("srst");
        if (srst_moves_to) {
            target.walk(shortest_path(target.state(), *srst_moves_to));
        }
        return {};
    }
    [[nodiscard]] Status set_max_frequency(double hertz) override {
        note("frequency " + std::to_string(static_cast<int>(hertz)));
        if (hertz < 1000) {
            return refused_error("test clock", "the slowest is 1 kHz");
        }
        hertz_ = hertz;
        return {};
    }
    [[nodiscard]] double hertz() const override { return hertz_; }
    [[nodiscard]] Status flush() override {
        note("flush");
        return fails_ ? failed() : Status();
    }

    [[nodiscard]] std::vector<std::string> take_calls() { return std::exchange(calls_, {}); }
    void record() { records_ = true; }
    void fail(bool fails) { fails_ = fails; }

    EdgeTarget target;
    uint64_t exchanges = 0;
    std::optional<bool> stuck;             // what TDO reads whatever the chain does
    std::optional<TapState> srst_moves_to; // what the system reset does to the TAP

private:
    static Failure failed() { return pod_error("pod", "it fails"); }

    void note(std::string text) {
        if (records_) {
            calls_.push_back(std::move(text));
        }
    }
    void note(const char* what, ScanPath path, size_t bits, StableState end) {
        if (records_) {
            note(std::string(what) + (path == ScanPath::Ir ? " IR " : " DR ") +
                 std::to_string(bits) + " to " + std::string(name_of(end)));
        }
    }
    Status shift(ScanPath path, const Bits& out, Bits& in, StableState end) {
        if (fails_) {
            return failed();
        }
        const TapState state = path == ScanPath::Ir ? TapState::ShiftIr : TapState::ShiftDr;
        target.walk(shortest_path(target.state(), state));
        in = Bits(out.size());
        for (size_t i = 0; i < out.size(); ++i) {
            held_ |= uint32_t{target.clock(i + 1 == out.size(), out[i])} << kHeldBits;
            in.set(i, stuck.value_or((held_ & 1U) != 0));
            held_ >>= 1U;
        }
        target.walk(shortest_path(target.state(), tap_state(end)));
        return {};
    }

    uint32_t held_; // the oldest bit lowest
    double hertz_ = 10e6;
    bool fails_ = false;
    bool records_ = false;
    std::vector<std::string> calls_;
};

} // namespace talvor
