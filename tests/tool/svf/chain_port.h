// A port in front of a chain of TAPs that is clocked edge by edge.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <vector>

#include "jtag/port.h"

namespace talvor::svf {

// One TAP: an instruction register and scratch registers that capture what they were last updated
// with. All-ones, and every instruction without a register, is BYPASS.
class ModelTap {
public:
    // `registers`: the length of the data register of each instruction.
    ModelTap(size_t ir_length, std::map<uint64_t, size_t> registers)
        : ir_(ir_length), instruction_(~uint64_t{0} >> (64 - ir_length)),
          bypass_instruction_(instruction_) {
        for (const auto& [instruction, length] : registers) {
            scratch_[instruction].assign(length, false);
        }
    }

    // What it drives on TDO in a Shift state.
    [[nodiscard]] bool tdo(TapState state) const {
        return state == TapState::ShiftIr ? ir_.front() : dr_.front();
    }

    // One rising edge in `state`; what was in the lowest place of the register goes out.
    void clock(TapState state, bool tdi) {
        switch (state) {
        case TapState::TestLogicReset:
            instruction_ = bypass_instruction_;
            break;
        case TapState::CaptureIr:
            ir_.assign(ir_.size(), false);
            ir_.front() = true;
            break;
        case TapState::ShiftIr:
            shift(ir_, tdi);
            break;
        case TapState::UpdateIr:
            instruction_ = 0;
            for (size_t i = 0; i < ir_.size(); ++i) {
                instruction_ |= uint64_t{ir_[i]} << i;
            }
            break;
        case TapState::CaptureDr:
            dr_ = scratch_.contains(instruction_) ? scratch_[instruction_]
                                                  : std::vector<bool>(1, false);
            break;
        case TapState::ShiftDr:
            shift(dr_, tdi);
            break;
        case TapState::UpdateDr:
            if (scratch_.contains(instruction_)) {
                scratch_[instruction_] = dr_;
            }
            break;
        default:
            break;
        }
    }

private:
    static void shift(std::vector<bool>& bits, bool in) {
        bits.erase(bits.begin());
        bits.push_back(in);
    }

    std::vector<bool> ir_;
    std::vector<bool> dr_{false};
    uint64_t instruction_;
    uint64_t bypass_instruction_;
    std::map<uint64_t, std::vector<bool>> scratch_;
};

// The first TAP is nearest TDI.
class ChainPort final : public JtagPort {
public:
    explicit ChainPort(std::vector<ModelTap> taps) : taps_(std::move(taps)) {}

    uint64_t idle_clocks = 0; // spent by run() in Run-Test/Idle

    [[nodiscard]] TapState state() const { return state_; }

    [[nodiscard]] Status can_scan(ScanPath, uint64_t, bool) const override { return {}; }
    [[nodiscard]] Status can_run(StableState, uint64_t, ClockLine) const override { return {}; }
    [[nodiscard]] Status can_set_trst(TrstLevel) const override { return {}; }
    [[nodiscard]] Status can_set_max_frequency(std::optional<double>) const override { return {}; }

    Status reset_tap() override {
        for (int i = 0; i < 5; ++i) {
            clock(true, true);
        }
        clock_here_after_reset();
        return {};
    }
    Status move(StableState to) override {
        for (const TapState next : standard_route(*stable_state(state_), to)) {
            step(next, true);
        }
        return {};
    }
    Status scan(const Scan& scan) override {
        const bool ir = scan.path == ScanPath::Ir;
        const TapState shift = ir ? TapState::ShiftIr : TapState::ShiftDr;
        const TapState exit = ir ? TapState::Exit1Ir : TapState::Exit1Dr;
        for (const TapState next : shortest_path(state_, shift)) {
            step(next, true);
        }
        Bits received(scan.out->size());
        for (size_t i = 0; i < scan.out->size(); ++i) {
            const bool last = i + 1 == scan.out->size();
            received.set(i, clock(last, (*scan.out)[i]));
        }
        for (const TapState next : shortest_path(exit, tap_state(scan.end))) {
            step(next, true);
        }
        if (scan.in != nullptr) {
            *scan.in = std::move(received);
        }
        return {};
    }
    Status run(StableState state, uint64_t clocks, std::chrono::nanoseconds) override {
        if (state_ != tap_state(state)) {
            for (const TapState next : standard_route(*stable_state(state_), state)) {
                step(next, true);
            }
        }
        for (uint64_t i = 0; i < clocks; ++i) {
            clock(state == StableState::Reset, true);
        }
        idle_clocks += state == StableState::Idle ? clocks : 0;
        return {};
    }
    Status set_trst(TrstLevel level) override {
        return level == TrstLevel::Asserted ? reset_tap() : Status();
    }
    Status set_max_frequency(std::optional<double>) override { return {}; }
    Status flush() override { return {}; }

private:
    void clock_here_after_reset() {
        for (ModelTap& tap : taps_) {
            tap.clock(TapState::TestLogicReset, true);
        }
    }
    void step(TapState next, bool tdi) { clock(next_state(state_, true) == next, tdi); }

    // One TCK; answers what TDO showed before its edge, 1 outside the Shift states.
    bool clock(bool tms, bool tdi) {
        const bool shifting = state_ == TapState::ShiftDr || state_ == TapState::ShiftIr;
        bool line = tdi;
        for (ModelTap& tap : taps_) {
            const bool out = tap.tdo(state_);
            tap.clock(state_, line);
            line = out;
        }
        state_ = next_state(state_, tms);
        return !shifting || line;
    }

    std::vector<ModelTap> taps_;
    TapState state_ = TapState::RunTestIdle;
};

} // namespace talvor::svf
