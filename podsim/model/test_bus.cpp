#include "podsim/model/test_bus.h"

#include "podsim/model/bit_ring.h"

#include <algorithm>
#include <bit>

namespace podsim {
namespace {

// Under TMS 0 every state settles within a few clocks and then holds.
TapState after_zeros(TapState state, std::uint64_t count) {
    if (is_shift(state)) [[likely]] {
        return state;
    }
    constexpr std::uint64_t kSettled = 8;
    for (std::uint64_t i = std::min(count, kSettled); i > 0; --i) {
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
        if (Status status = target_.move(path.tms, path.count, kIdleTdi); status.failed()) {
            missed();
            return status;
        }
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

Status TestBus::shift(std::span<const std::uint64_t> tdi, std::span<std::uint64_t> tdo,
                      std::uint64_t count, bool leave) {
    if (reaches_target()) [[likely]] {
        if (Status status = target_.shift(tdi, tdo, count, leave); status.failed()) {
            missed();
            return status;
        }
        if (observer_ != nullptr) {
            report({.count = count, .last_tms = leave, .tdi = tdi, .tdo = tdo});
        }
        seen_ = next_state(after_zeros(seen_, count - 1), leave);
        seen_ones(leave ? 1 : 0, count == 1 && leave);
    } else {
        std::ranges::fill(tdo, ~std::uint64_t{0});
        missed();
    }
    state_ = next_state(state_, leave);
    pass(count);
    return {};
}

TmsPath TestBus::reset_path() const {
    return in_step_ ? shortest_path(state_, TapState::TestLogicReset) : kResetPath;
}

void TestBus::seen_ones(std::uint64_t count, bool all) {
    ones_ = all ? ones_ + count : count;
    if (ones_ >= kResetPath.count) {
        in_step_ = true;
    }
}

void TestBus::missed() {
    in_step_ = false;
    ones_ = 0;
}

Status TestBus::pulse_trst() {
    if (power_) {
        if (Status status = target_.pulse_trst(); status.failed()) {
            missed();
            return status;
        }
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
        if (Status status = target_.set_reset(asserted); status.failed()) {
            return status;
        }
    }
    if (observer_ != nullptr) {
        observer_->target_reset(time_ns_, asserted);
    }
    return {};
}

Status TestBus::set_power(bool on) {
    if (on && !power_) {
        if (Status status = target_.power_on(); status.failed()) {
            return status;
        }
        seen_ = TapState::TestLogicReset;
        missed();
    }
    power_ = on;
    return {};
}

} // namespace podsim
