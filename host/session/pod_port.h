// A JTAG port over a connected pod.
#pragma once

#include "host/clock/test_clock.h"
#include "host/driver/pod.h"
#include "host/jtag/port.h"

#include <cstdint>
#include <optional>

namespace talvor {

// What the driver's operations cannot do is refused by name:
// - clocks are only counted in Run-Test/Idle, seven at a time, so a run may take up to six more;
// - TRSTn can be pulsed, but neither held nor let float;
// - the target's system clock cannot be counted.
// A change of the test clock connects the pod anew.
//
// The pod's return path holds back the last sixteen bits of whatever is shifted, so a scan that
// receives needs sixteen clocks more than it has bits. There are two ways to spend them:
// - Exact (the default) shifts the scan, stops in the Pause state, and shifts it a second time to
//   push the rest out: two round trips.
// - Adjusted leaves it to the driver's automatic adjustment, which shifts sixteen ones first: one
//   round trip, but what comes back after the path's own content begins with these ones.
// Either leaves the right bits in a path that is no longer than the scan; only a scan that is
// shorter than its path, a part of one, must not receive.
class PodPort final : public JtagPort {
public:
    enum class ReceiveMode : uint8_t { Exact, Adjusted };

    // The pod outlives the port. `configured` are the keys that the pod was opened with.
    [[nodiscard]] static Result<PodPort> open(Pod& pod, TestClock clock, KeyStore configured);

    [[nodiscard]] Status can_scan(ScanPath path, uint64_t length_bits, bool receive) const override;
    [[nodiscard]] Status can_run(StableState state, uint64_t clocks, ClockLine line) const override;
    [[nodiscard]] Status can_set_trst(TrstLevel level) const override;
    [[nodiscard]] Status can_set_max_frequency(std::optional<double> hertz) const override;

    [[nodiscard]] Status reset_tap() override;
    [[nodiscard]] Status move(StableState to) override;
    [[nodiscard]] Status scan(const Scan& scan) override;
    [[nodiscard]] Status run(StableState state, uint64_t clocks,
                             std::chrono::nanoseconds at_least) override;
    [[nodiscard]] Status set_trst(TrstLevel level) override;
    [[nodiscard]] Status set_max_frequency(std::optional<double> hertz) override;
    [[nodiscard]] Status flush() override { return pod_->flush(); }

    void set_receive_mode(ReceiveMode mode) noexcept { mode_ = mode; }
    // To `to` through Run-Test/Idle, where seven clocks are spent, `times` times over.
    [[nodiscard]] Status move_via_idle(StableState to, uint32_t times = 1);
    // Where the TAP stands, asked of the controller.
    [[nodiscard]] Result<StableState> ask_state();
    // Connects anew with another divider.
    [[nodiscard]] Status set_clock(const ClockSetting& setting);
    [[nodiscard]] const TestClock& clock() const noexcept { return clock_; }
    // The present test-clock frequency.
    [[nodiscard]] uint64_t hertz() const noexcept { return clock_.hertz(setting_); }

private:
    PodPort(Pod& pod, TestClock clock, KeyStore configured);

    [[nodiscard]] Status put_state(StableState to, JSC_JtagTransit how, uint32_t times);
    [[nodiscard]] Status scan_out(const JSC_JtagCommand& command, const Scan& scan);
    [[nodiscard]] Status scan_adjusted(JSC_JtagCommand command, const Scan& scan);
    [[nodiscard]] Status scan_exact(JSC_JtagCommand command, const Scan& scan);
    // One scan of the driver: `in` becomes what it gives back.
    [[nodiscard]] Status scan_both(const JSC_JtagCommand& command, const Bits& out, Bits& in);

    Pod* pod_;
    TestClock clock_;
    KeyStore configured_;
    ClockSetting setting_;
    ReceiveMode mode_ = ReceiveMode::Exact;
    std::optional<StableState> state_; // nothing: unknown
};

} // namespace talvor
