// The pins of a chain of TAPs, with nothing between.
#pragma once

#include "../scan/scan_target.h"
#include "host/serve/edge_port.h"

#include <algorithm>
#include <atomic>
#include <optional>
#include <string>
#include <vector>

namespace talvor {

class BarePort final : public EdgePort {
public:
    explicit BarePort(ScanTarget target) : target_(std::move(target)) {}

    [[nodiscard]] Status start() override {
        ++starts;
        target_.reset();
        state_ = TapState::TestLogicReset;
        hertz_ = kFirstHertz;
        return error ? Status(Failure(*error)) : Status();
    }
    [[nodiscard]] Status clock(const Bits& tms, const Bits& tdi, Bits* tdo,
                               const Bits* asked) override {
        if (error) {
            return Failure(*error);
        }
        calls.push_back(tms.size());
        answered_calls += tdo != nullptr ? 1 : 0;
        if (tdo != nullptr) {
            *tdo = Bits(tms.size());
        }
        for (size_t i = 0; i < tms.size(); ++i) {
            // What nobody asked for is nobody's to rely on.
            const bool level = asked == nullptr || (*asked)[i] ? level_now() : !level_now();
            if (tdo != nullptr) {
                tdo->set(i, level);
            }
            if (!trst) {
                edge(tms[i], tdi[i]);
            }
        }
        return {};
    }
    [[nodiscard]] Result<bool> tdo() override {
        ++peeks;
        return level_now();
    }
    [[nodiscard]] Status set_trst(bool asserted) override {
        trst_pulses += asserted && !trst ? 1 : 0;
        trst = asserted;
        if (asserted) {
            target_.reset();
            state_ = TapState::TestLogicReset;
        }
        return {};
    }
    [[nodiscard]] Status set_srst(bool asserted) override {
        srst_pulses += asserted && !srst ? 1 : 0;
        srst = asserted;
        return {};
    }
    [[nodiscard]] Status set_max_frequency(double hertz) override {
        if (hertz < kSlowestHertz) {
            return refused_error("clock", "too slow");
        }
        hertz_ = std::min(hertz, kFirstHertz);
        return {};
    }
    [[nodiscard]] double hertz() const override { return hertz_; }
    [[nodiscard]] Status settle() override {
        ++settles;
        return {};
    }
    [[nodiscard]] bool unsettled() const override { return true; }
    [[nodiscard]] TapState state() const override { return state_; }

    [[nodiscard]] ScanTarget& target() { return target_; }

    static constexpr double kFirstHertz = 10e6;
    static constexpr double kSlowestHertz = 1e3;

    std::optional<Error> error{}; // of what comes next
    std::vector<size_t> calls{};  // the edges of each clock()
    int answered_calls = 0;
    int peeks = 0;
    int starts = 0;
    std::atomic<int> settles = 0; // looked at while another thread serves
    bool trst = false;
    bool srst = false;
    int trst_pulses = 0;
    int srst_pulses = 0;

private:
    [[nodiscard]] bool level_now() const {
        return !is_shift(state_) || target_.content().front() != 0;
    }
    void edge(bool tms, bool tdi) {
        switch (state_) {
        case TapState::CaptureDr:
        case TapState::CaptureIr:
            target_.capture(state_ == TapState::CaptureIr ? ScanPath::Ir : ScanPath::Dr);
            break;
        case TapState::ShiftDr:
        case TapState::ShiftIr:
            (void)target_.shift(tdi);
            break;
        default:
            break;
        }
        state_ = next_state(state_, tms);
        if (state_ == TapState::UpdateDr || state_ == TapState::UpdateIr) {
            target_.update(state_ == TapState::UpdateIr ? ScanPath::Ir : ScanPath::Dr);
        } else if (state_ == TapState::TestLogicReset) {
            target_.reset();
        }
    }

    ScanTarget target_;
    TapState state_ = TapState::TestLogicReset;
    double hertz_ = kFirstHertz;
};

// Two devices with a register each that nobody else has: 5 and 3 instruction bits; every
// instruction chooses between a register of 12 or 40 bits that captures noise, and BYPASS.
inline ScanTarget two_devices() {
    return ScanTarget({{.instruction_bits = 5, .lengths = {12, 12}, .captures = Captures::Noise},
                       {.instruction_bits = 3, .lengths = {40, 7}, .captures = Captures::Noise}},
                      4711);
}

} // namespace talvor
