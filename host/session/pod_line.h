// The bare shifts and moves of a connected pod, as the driver's operations give them.
#pragma once

#include "host/driver/pod.h"
#include "host/scan/shift_line.h"

#include <cstdint>
#include <optional>

namespace talvor {

// Looks for no interrupt, so that work under way can be ended properly.
class PodLine final : public ShiftLine {
public:
    // The pod outlives the line.
    explicit PodLine(Pod& pod) : pod_(pod) {}

    [[nodiscard]] Status send(ScanPath path, const Bits& out, StableState end) override;
    [[nodiscard]] Status exchange(ScanPath path, const Bits& out, Bits& in,
                                  StableState end) override;
    [[nodiscard]] Status move(StableState to) override;

    // The driver's automatic adjustment: sixteen ones go in first, and what the return path held is
    // dropped.
    [[nodiscard]] Status exchange_adjusted(ScanPath path, const Bits& out, Bits& in,
                                           StableState end);
    // To `to` through Run-Test/Idle, where seven clocks are spent, `times` times over.
    [[nodiscard]] Status move_via_idle(StableState to, uint32_t times);
    // Five or more TMS ones.
    [[nodiscard]] Status reset_tap();
    // Asks the controller where the TAP stands. A TAP that stands in no stable state is reset.
    [[nodiscard]] Result<StableState> ask_state();
    // Hands everything that is queued to the pod.
    [[nodiscard]] Status flush() { return pod_.flush(); }

    // Where the TAP stands, with everything that is queued; nothing: unknown.
    [[nodiscard]] std::optional<StableState> state() const noexcept { return state_; }
    // Something else has moved the TAP.
    void forget_state() noexcept { state_.reset(); }

private:
    [[nodiscard]] Status put_state(StableState to, JSC_JtagTransit how, uint32_t times);
    [[nodiscard]] Status scan_both(const JSC_JtagCommand& command, const Bits& out, Bits& in,
                                   StableState end);

    Pod& pod_;
    std::optional<StableState> state_;
};

} // namespace talvor
