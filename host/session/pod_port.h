// A JTAG port over a connected pod.
#pragma once

#include "host/clock/test_clock.h"
#include "host/driver/pod.h"
#include "host/driver/reset_log.h"
#include "host/jtag/port.h"
#include "host/jtag/port_watcher.h"
#include "host/scan/exact_scan.h"
#include "host/session/pod_line.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

namespace talvor {

// What the driver's operations cannot do is refused by name:
// - clocks are only counted in Run-Test/Idle, seven at a time, so a run may take up to six more;
// - TRSTn can be pulsed, but neither held nor let float;
// - the target's system clock cannot be counted.
// A change of the test clock connects the pod anew.
//
// The pod's return path holds back the last sixteen bits of whatever is shifted. There are two ways
// to get at them:
// - Exact (the default) answers and leaves behind what the same clocks on a bare TAP would, however
//   long the register is: see ExactScan. One round trip; a second one the first time that a
//   register proves longer than its scan.
// - Adjusted leaves it to the driver's automatic adjustment, which shifts sixteen ones first: what
//   comes back after the path's own content begins with these ones, and a path that is longer than
//   the scan is left with them.
//
// Moves stay queued, also those that end a scan whose answer was given already. What the last ones
// of a session did to the target is certain after flush() or close().
class PodPort final : public JtagPort {
public:
    enum class ReceiveMode : uint8_t { Exact, Adjusted };

    // The pod outlives the port. `configured` are the keys that the pod was opened with.
    [[nodiscard]] static Result<PodPort> open(Pod& pod, TestClock clock, KeyStore configured);

    [[nodiscard]] Status can_scan(ScanPath path, uint64_t length_bits, bool receive) const override;
    [[nodiscard]] Status can_run(StableState state, uint64_t clocks, ClockLine line) const override;
    [[nodiscard]] Status can_set_trst(TrstLevel level) const override;
    [[nodiscard]] Status can_pulse_trst() const override { return {}; }
    [[nodiscard]] Status can_set_max_frequency(std::optional<double> hertz) const override;
    [[nodiscard]] double hertz_at_most(std::optional<double> hertz) const override;

    [[nodiscard]] Status reset_tap() override;
    [[nodiscard]] Status move(StableState to) override;
    [[nodiscard]] Status scan(const Scan& scan) override;
    [[nodiscard]] Status run(StableState state, uint64_t clocks,
                             std::chrono::nanoseconds at_least) override;
    [[nodiscard]] Status set_trst(TrstLevel level) override;
    [[nodiscard]] Status pulse_trst() override;
    [[nodiscard]] Status set_max_frequency(std::optional<double> hertz) override;
    // A scan that rests in its Pause state has left there what it should, too.
    [[nodiscard]] Status flush() override;

    void set_receive_mode(ReceiveMode mode) noexcept { mode_ = mode; }
    // Who is told what the Shift clocks are for.
    void on_shift(const ShiftMarkHook& hook) {
        hook_ = hook;
        scan_->on_shift(hook);
    }
    // Tells everything from now on, beginning with state and clock, to `watcher`, which outlives
    // the port; null: nobody. What goes over the bare line is not told.
    [[nodiscard]] Status watch(PortWatcher* watcher);
    // For who does what no operation of a port can do: tells that, in words.
    [[nodiscard]] Status tell(std::string_view what);
    // The bare line, for who keeps track of the TAP alone: scan() is not called while it is used.
    [[nodiscard]] PodLine& line() noexcept { return *line_; }
    // Resets the controller, and what `request` says; answers the log of it. Where the TAP stands
    // then is to be asked.
    [[nodiscard]] Result<std::vector<ResetLogEntry>> reset_controller(const ResetRequest& request);
    // The pod's reset line to the target goes low and high again. Where the TAP stands then is to
    // be asked.
    [[nodiscard]] Status pulse_reset();
    // To `to` through Run-Test/Idle, where seven clocks are spent, `times` times over.
    [[nodiscard]] Status move_via_idle(StableState to, uint32_t times = 1);
    // Where the TAP stands, asked of the controller.
    [[nodiscard]] Result<StableState> ask_state();
    // Connects anew with another divider.
    [[nodiscard]] Status set_clock(const ClockSetting& setting);
    // Connects anew as it is, after an error that may have left driver and pod out of step.
    [[nodiscard]] Status reconnect();
    [[nodiscard]] const TestClock& clock() const noexcept { return clock_; }
    // The present test-clock frequency.
    [[nodiscard]] uint64_t hertz() const noexcept { return clock_.hertz(setting_); }

    // As a port that was just opened, whatever was done with the pod since, or left undone: exact
    // answers, the configured clock, and the controller is asked where the TAP stands.
    [[nodiscard]] Status renew();
    // The last thing before the pod is disconnected: like flush(), and nobody can do anything about
    // a failure any more.
    void close() noexcept;

private:
    PodPort(Pod& pod, TestClock clock, KeyStore configured);

    // The setting that is as fast as may be at or below `hertz`, which the clock can do.
    [[nodiscard]] ClockSetting setting_at_most(std::optional<double> hertz) const;
    [[nodiscard]] Status do_reset_tap();
    [[nodiscard]] Status do_move(StableState to);
    [[nodiscard]] Status do_move_via_idle(StableState to, uint32_t times);
    [[nodiscard]] Status do_scan(const Scan& scan);
    [[nodiscard]] Status do_run(StableState state, uint64_t clocks,
                                std::chrono::nanoseconds at_least);
    [[nodiscard]] Status watched_scan(const Scan& scan);
    template <typename Tell>
    [[nodiscard]] Status told(Status done, Tell tell);
    [[nodiscard]] Status scan_exactly(const Scan& scan);
    [[nodiscard]] Status scan_adjusted(const Scan& scan);
    [[nodiscard]] Status leave_scan();

    Pod* pod_;
    TestClock clock_;
    KeyStore configured_;
    ClockSetting setting_;
    ReceiveMode mode_ = ReceiveMode::Exact;
    ShiftMarkHook hook_;
    PortWatcher* watcher_ = nullptr;
    std::unique_ptr<PodLine> line_;
    std::unique_ptr<ExactScan> scan_;
};

} // namespace talvor
