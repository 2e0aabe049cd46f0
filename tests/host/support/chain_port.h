// A port before a chain of TAPs that is clocked edge by edge, over lines that can be broken.
//
// All shift registers of a path are one line here, so that chains of a thousand devices and scans
// of half a million bits take no time.
#pragma once

#include "common/tap_state.h"
#include "host/jtag/port.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <utility>
#include <vector>

namespace talvor {

struct ChainTap {
    std::optional<uint32_t> idcode = {};
    size_t instruction_bits = 4;
    uint64_t instruction_capture = 1;
    // The lengths of registers that capture what they were last updated with, by instruction. All
    // ones, and every instruction without a register, is BYPASS.
    std::map<uint64_t, size_t> registers = {};
};

// Between its operations it stands in a stable state. The first TAP is nearest TDI.
class ChainPort final : public JtagPort {
public:
    explicit ChainPort(const std::vector<ChainTap>& taps) {
        for (const ChainTap& tap : taps) {
            taps_.emplace_back(tap);
        }
        reset();
    }

    std::optional<bool> stuck;  // what TDO reads whatever the chain does
    size_t late_bits = 0;       // the answer comes so many bits late
    size_t lost_bits = 0;       // so many of its first bits are lost
    size_t broken_before = 0;   // TAPs nearest TDI that are cut off; the line behind reads ones
    std::optional<size_t> flip; // this bit of every data scan that has it is flipped
    uint64_t idle_clocks = 0;   // spent by run() in Run-Test/Idle

    [[nodiscard]] TapState state() const { return state_; }
    // Whether every TAP holds the BYPASS instruction.
    [[nodiscard]] bool all_bypassed() const {
        return std::ranges::all_of(taps_, [](const Tap& tap) { return tap.bypassed(); });
    }

    [[nodiscard]] Status can_scan(ScanPath, uint64_t, bool) const override { return {}; }
    [[nodiscard]] Status can_run(StableState, uint64_t, ClockLine) const override { return {}; }
    [[nodiscard]] Status can_set_trst(TrstLevel) const override { return {}; }
    [[nodiscard]] Status can_set_max_frequency(std::optional<double>) const override { return {}; }

    [[nodiscard]] Status reset_tap() override {
        go(kResetPath);
        return {};
    }
    [[nodiscard]] Status move(StableState to) override {
        for (const TapState next : standard_route(*stable_state(state_), to)) {
            clock(next_state(state_, true) == next, true);
        }
        return {};
    }
    [[nodiscard]] Status scan(const Scan& scan) override {
        go(shortest_path(state_,
                         scan.path == ScanPath::Ir ? TapState::ShiftIr : TapState::ShiftDr));
        Bits received(scan.out->size());
        for (size_t i = 0; i < received.size(); ++i) {
            received.set(i, clock(i + 1 == received.size(), (*scan.out)[i]));
        }
        go(shortest_path(state_, tap_state(scan.end)));
        if (scan.in != nullptr) {
            *scan.in = disturbed(std::move(received), scan.path);
        }
        return {};
    }
    [[nodiscard]] Status run(StableState state, uint64_t clocks,
                             std::chrono::nanoseconds) override {
        if (state_ != tap_state(state)) {
            (void)move(state);
        }
        for (uint64_t i = 0; i < clocks; ++i) {
            clock(state == StableState::Reset, true);
        }
        idle_clocks += state == StableState::Idle ? clocks : 0;
        return {};
    }
    [[nodiscard]] Status set_trst(TrstLevel level) override {
        return level == TrstLevel::Asserted ? reset_tap() : Status();
    }
    [[nodiscard]] Status set_max_frequency(std::optional<double>) override { return {}; }
    [[nodiscard]] Status flush() override { return {}; }

private:
    using Line = std::deque<bool>; // the bit nearest TDO first

    class Tap {
    public:
        explicit Tap(const ChainTap& tap) : tap_(tap) {
            for (const auto& [instruction, length] : tap.registers) {
                registers_[instruction] = Line(length);
            }
        }

        void reset() {
            instruction_ = all_ones();
            identifies_ = tap_.idcode.has_value();
        }
        [[nodiscard]] bool bypassed() const { return !identifies_ && instruction_ == all_ones(); }

        // What it captures, put behind `line`.
        void capture(ScanPath path, Line& line) const {
            if (path == ScanPath::Ir) {
                put(line, tap_.instruction_capture, tap_.instruction_bits);
            } else if (identifies_) {
                put(line, *tap_.idcode, 32);
            } else if (const auto held = registers_.find(instruction_); held != registers_.end()) {
                line.insert(line.end(), held->second.begin(), held->second.end());
            } else {
                line.push_back(false);
            }
        }
        // Takes its part from the start of `line`.
        void update(ScanPath path, Line& line) {
            if (path == ScanPath::Ir) {
                instruction_ = 0;
                identifies_ = false;
                for (size_t i = 0; i < tap_.instruction_bits; ++i) {
                    instruction_ |= uint64_t{take(line)} << i;
                }
                return;
            }
            const auto held = registers_.find(instruction_);
            const bool holds = !identifies_ && held != registers_.end();
            const size_t length = holds ? held->second.size() : identifies_ ? 32 : 1;
            for (size_t i = 0; i < length; ++i) {
                const bool bit = take(line);
                if (holds) {
                    held->second[i] = bit;
                }
            }
        }

    private:
        [[nodiscard]] uint64_t all_ones() const {
            return ~uint64_t{0} >> (64 - tap_.instruction_bits);
        }
        static void put(Line& line, uint64_t value, size_t length) {
            for (size_t i = 0; i < length; ++i) {
                line.push_back(((value >> i) & 1U) != 0);
            }
        }
        static bool take(Line& line) {
            const bool bit = line.front();
            line.pop_front();
            return bit;
        }

        ChainTap tap_;
        uint64_t instruction_ = 0;
        bool identifies_ = false; // the data register is IDCODE, until an instruction comes
        std::map<uint64_t, Line> registers_;
    };

    void reset() {
        for (Tap& tap : taps_) {
            tap.reset();
        }
    }
    void go(TmsPath path) {
        for (unsigned i = 0; i < path.count; ++i) {
            clock(((path.tms >> i) & 1U) != 0, true);
        }
    }

    // One TCK; answers what TDO showed before its edge, 1 outside the Shift states.
    bool clock(bool tms, bool tdi) {
        bool tdo = true;
        if (is_shift(state_)) {
            line_.push_back(tdi || broken_before != 0); // without a TAP TDI is TDO
            tdo = line_.front();
            line_.pop_front();
        } else if (state_ == TapState::CaptureDr || state_ == TapState::CaptureIr) {
            line_.clear();
            for (size_t i = taps_.size(); i-- > broken_before;) {
                taps_[i].capture(path_of(TapState::CaptureIr), line_);
            }
        }
        state_ = next_state(state_, tms);
        if (state_ == TapState::UpdateDr || state_ == TapState::UpdateIr) {
            for (size_t i = taps_.size(); i-- > broken_before;) {
                taps_[i].update(path_of(TapState::UpdateIr), line_);
            }
        } else if (state_ == TapState::TestLogicReset) {
            reset();
        }
        return tdo;
    }
    [[nodiscard]] ScanPath path_of(TapState instruction) const {
        return state_ == instruction ? ScanPath::Ir : ScanPath::Dr;
    }

    [[nodiscard]] Bits disturbed(Bits received, ScanPath path) const {
        if (stuck) {
            received.fill(*stuck);
            return received;
        }
        if (late_bits != 0) {
            Bits late = Bits::ones(late_bits);
            late.append(received.slice(0, received.size() - late_bits));
            received = std::move(late);
        }
        if (lost_bits != 0) {
            Bits early = received.slice(lost_bits, received.size() - lost_bits);
            early.append(Bits::ones(lost_bits));
            received = std::move(early);
        }
        if (flip && path == ScanPath::Dr && received.size() > *flip) {
            received.set(*flip, !received[*flip]);
        }
        return received;
    }

    std::vector<Tap> taps_;
    Line line_;
    TapState state_ = TapState::RunTestIdle;
};

} // namespace talvor
