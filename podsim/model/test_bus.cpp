#include "podsim/model/test_bus.h"

#include "podsim/model/bit_ring.h"

#include <algorithm>
#include <bit>
#include <vector>

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
    const TapState after = walk(state_, path);
    if (reaches_target()) {
        const TmsPath seen = arriving(path);
        const bool tdi = cable_.held(Wire::Tdi).value_or(kIdleTdi);
        TRY(unless_missed(target_.move(seen.tms, seen.count, tdi)));
        if (observer_ != nullptr) {
            report({.count = seen.count, .tms = {&seen.tms, 1}, .constant_tdi = tdi});
        }
        seen_ = seen_ == state_ && seen.tms == path.tms ? after : walk(seen_, seen);
        const auto ones =
            static_cast<unsigned>(std::countl_one(seen.tms << (kWordBits - seen.count)));
        seen_ones(ones, ones == seen.count);
    } else {
        missed();
    }
    state_ = after;
    pass(path.count);
    return {};
}

Status TestBus::shift(std::span<const uint64_t> tdi, std::span<uint64_t> tdo, uint64_t count,
                      bool leave, uint64_t unwanted) {
    if (broken_) [[unlikely]] {
        TRY(shift_broken(tdi, tdo, count, leave));
    } else if (reaches_target()) [[likely]] {
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

Status TestBus::shift_broken(std::span<const uint64_t> tdi, std::span<uint64_t> tdo, uint64_t count,
                             bool leave) {
    const std::optional<bool> tms = held_tms();
    std::vector<uint64_t> held;
    if (const auto level = cable_.held(Wire::Tdi)) {
        held.assign(tdi.size(), *level ? ~uint64_t{0} : 0);
        tdi = held;
    }
    if (!reaches_target() || tms == true) {
        std::ranges::fill(tdo, ~uint64_t{0});
        TRY(reaches_target() ? clock_ones(count) : Status());
        missed();
    } else {
        const bool leaves = leave && !tms;
        TRY(unless_missed(target_.shift(tdi, tdo, count, leaves)));
        if (observer_ != nullptr) {
            report({.count = count, .last_tms = leaves, .tdi = tdi, .tdo = tdo});
        }
        seen_ = next_state(after_zeros(seen_, count - 1), leaves);
        seen_ones(leaves ? 1 : 0, count == 1 && leaves);
    }
    if (const auto level = cable_.held(Wire::Tdo)) {
        std::ranges::fill(tdo, *level ? ~uint64_t{0} : 0);
    }
    return {};
}

// The time of the whole is passed by the caller.
Status TestBus::clock_ones(uint64_t count) {
    constexpr uint64_t kOnes = ~uint64_t{0};
    const uint64_t began_ns = time_ns_;
    const bool tdi = cable_.held(Wire::Tdi).value_or(kIdleTdi);
    for (uint64_t done = 0; done < count;) {
        const auto part = static_cast<unsigned>(std::min<uint64_t>(count - done, kWordBits));
        TRY(unless_missed(target_.move(kOnes & low_mask(part), part, tdi)));
        if (observer_ != nullptr) {
            report({.count = part, .tms = {&kOnes, 1}, .constant_tdi = tdi});
        }
        seen_ = walk(seen_, {kOnes, part});
        pass(part);
        done += part;
    }
    time_ns_ = began_ns;
    return {};
}

TmsPath TestBus::arriving(TmsPath path) const {
    if (const auto level = held_tms()) {
        path.tms = *level ? low_mask(path.count) : 0;
    }
    return path;
}

Status TestBus::set_cable(const Cable& cable) {
    if (cable == cable_) {
        return {};
    }
    const bool was_low = cable_.held(Wire::Trst) == false;
    const bool is_low = cable.held(Wire::Trst) == false;
    cable_ = cable;
    clock_arrives_ = cable.whole(Wire::Tck);
    broken_ = !cable.whole();
    missed();
    if (is_low != was_low && observer_ != nullptr) {
        observer_->trst(time_ns_, !is_low);
    }
    if (is_low && power_) {
        TRY(target_.pulse_trst());
        seen_ = TapState::TestLogicReset;
    }
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
    const bool arrives = cable_.whole(Wire::Trst);
    if (power_ && arrives) {
        TRY(unless_missed(target_.pulse_trst()));
        seen_ = TapState::TestLogicReset;
        in_step_ = true;
    }
    if (!arrives) {
        missed();
    }
    if (observer_ != nullptr && arrives) {
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
