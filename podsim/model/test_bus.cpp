#include "podsim/model/test_bus.h"

#include "podsim/model/bit_ring.h"

#include <algorithm>
#include <bit>

namespace talvor::podsim {
namespace {

// Under TMS 0 every state settles within a few clocks and then holds.
TapState after_zeros(TapState state, uint64_t count) {
    if (is_shift(state)) [[likely]] {
        return state;
    }
    constexpr uint64_t kSettled = 8;
    for (uint64_t i = std::min(count, kSettled); i > 0; --i) {
        state = next_state(state, false);
    }
    return state;
}

} // namespace

void TestBus::report(EdgeRun run) {
    run.start_ns = time_ns_;
    run.period_ns = period_ns_;
    run.from = seen_;
    observer_->edges(run);
}

Status TestBus::move(TmsPath path) {
    if (path.count == 0) {
        return {};
    }
    if (reaches_target()) {
        TRY(unless_missed(target_.move(path.tms, path.count, kIdleTdi)));
        if (observer_ != nullptr) {
            report({.count = path.count, .tms = {&path.tms, 1}, .constant_tdi = kIdleTdi});
        }
        seen_ = walk(seen_, path);
        const auto ones =
            static_cast<unsigned>(std::countl_one(path.tms << (kWordBits - path.count)));
        seen_ones(ones, ones == path.count);
    } else {
        missed();
    }
    state_ = walk(state_, path);
    pass(path.count);
    return {};
}

Status TestBus::shift(std::span<const uint64_t> tdi, std::span<uint64_t> tdo, uint64_t count,
                      bool leave, uint64_t unwanted) {
    if (reaches_target()) [[likely]] {
        TRY(unless_missed(unwanted == 0 ? target_.shift(tdi, tdo, count, leave)
                                        : target_.shift_tail(tdi, tdo, count, leave, unwanted)));
        if (observer_ != nullptr) {
            report({.count = count, .last_tms = leave, .tdi = tdi, .tdo = tdo});
        }
        seen_ = next_state(after_zeros(seen_, count - 1), leave);
        seen_ones(leave ? 1 : 0, count == 1 && leave);
    } else {
        std::ranges::fill(tdo, ~uint64_t{0});
        missed();
    }
    state_ = next_state(state_, leave);
    pass(count);
    return {};
}

TmsPath TestBus::reset_path() const {
    return in_step_ ? shortest_path(state_, TapState::TestLogicReset) : kResetPath;
}

void TestBus::seen_ones(uint64_t count, bool all) {
    ones_ = all ? ones_ + count : count;
    if (ones_ >= kResetPath.count) {
        in_step_ = true;
    }
}

Status TestBus::unless_missed(Status status) {
    if (!status) [[unlikely]] {
        missed();
    }
    return status;
}

Status TestBus::pulse_trst() {
    if (power_) {
        TRY(unless_missed(target_.pulse_trst()));
        seen_ = TapState::TestLogicReset;
        in_step_ = true;
    }
    if (observer_ != nullptr) {
        observer_->trst(time_ns_, false);
        observer_->trst(time_ns_ + kTrstPulseNs, true);
    }
    time_ns_ += kTrstPulseNs;
    state_ = TapState::TestLogicReset;
    return {};
}

Status TestBus::set_target_reset(bool asserted) {
    if (power_) {
        TRY(target_.set_reset(asserted));
    }
    if (observer_ != nullptr) {
        observer_->target_reset(time_ns_, asserted);
    }
    return {};
}

Status TestBus::set_power(bool on) {
    if (on && !power_) {
        TRY(target_.power_on());
        seen_ = TapState::TestLogicReset;
        missed();
    }
    power_ = on;
    return {};
}

} // namespace talvor::podsim
