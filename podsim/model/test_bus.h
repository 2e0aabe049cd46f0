// The pod's test bus outputs with the target at their end: TCK, TMS, TDI and TDO, TRSTn and the
// system reset, the virtual time that each clock takes, and the controller's idea of the TAP state.
#pragma once

#include "common/result.h"
#include "common/tap_state.h"
#include "podsim/model/cable.h"
#include "podsim/model/edge_observer.h"
#include "podsim/model/target.h"
#include "podsim/model/test_clock.h"

#include <cstdint>
#include <span>

namespace talvor::podsim {

// Modelling decision: TDI rests at 1 while no scan drives it, as an undriven TDI reads
// (IEEE 1149.1, 4.4.1).
inline constexpr bool kIdleTdi = true;
// Modelling decision: the low pulse of TRSTn lasts this long.
inline constexpr uint64_t kTrstPulseNs = 1000;

// Modelling decisions about what the target sees:
// - The controller keeps a TAP state of its own and moves it with every clock that it makes. While
//   the outputs are disconnected, the clock output is off, or target power or test clock are lost,
//   the target sees nothing of that: time passes, the controller's state moves on, TDO reads ones.
// - TRSTn and system reset are pins of the pod, not of the controller: they reach a powered target
//   even when the outputs are disconnected.
class TestBus {
public:
    explicit TestBus(Target& target) : target_(target) {}

    // Clocks a path of TMS levels, TDI at rest.
    [[nodiscard]] Status move(TmsPath path);
    // Clocks `count` bits in a Shift state, the last one with TMS `leave`. Spans as in Target;
    // nobody will look at TDO of the first `unwanted` bits. An observer is shown every bit: with
    // one none is unwanted.
    [[nodiscard]] Status shift(std::span<const uint64_t> tdi, std::span<uint64_t> tdo,
                               uint64_t count, bool leave, uint64_t unwanted = 0);
    // The way to Test-Logic-Reset: the shortest path; five ones where the target may be out of step
    // (after power-on, and whenever it has missed clocks), which lead there from any state.
    TmsPath reset_path() const;

    // The low pulse of TRSTn.
    // Modelling decision: the controller, which makes the pulse, knows that it leaves every TAP in
    // Test-Logic-Reset and takes that as its own state; otherwise the next move would be wrong.
    [[nodiscard]] Status pulse_trst();
    [[nodiscard]] Status set_target_reset(bool asserted);

    // Outputs and conditions; each is on at first.
    //
    // Modelling decision: outputs that are connected again, except in the middle of a scan, find
    // the controller in the state where it left the target. A hidden reset counts on it: the host
    // connects the outputs with the other pins, before it moves the TAP back.
    void set_connected(bool on) {
        if (on && !connected_ && !is_shift(state_)) {
            state_ = seen_;
        }
        connected_ = on;
    }
    void set_clock_output(bool on) { clock_output_ = on; }
    void set_clock_present(bool on) { clock_present_ = on; }
    // Power that comes back finds a target as after power-on.
    [[nodiscard]] Status set_power(bool on);
    // What is wrong with the wires from now on, see Cable.
    [[nodiscard]] Status set_cable(const Cable& cable);

    void set_period(uint64_t period_ns) { period_ns_ = period_ns; }
    void pass_time(uint64_t duration_ns) { time_ns_ += duration_ns; }
    void observe(EdgeObserver* observer) { observer_ = observer; }
    // The target may be anywhere from now on.
    void missed() {
        in_step_ = false;
        ones_ = 0;
    }

    TapState state() const { return state_; }
    uint64_t time_ns() const { return time_ns_; }
    uint32_t tck_hz() const { return frequency_hz(period_ns_); }
    Target& target() { return target_; }
    const Target& target() const { return target_; }
    EdgeObserver* observer() const { return observer_; }

private:
    bool reaches_target() const {
        return connected_ && clock_output_ && clock_present_ && power_ && clock_arrives_;
    }
    void report(EdgeRun run);
    // The same where a wire is broken.
    [[nodiscard]] Status shift_broken(std::span<const uint64_t> tdi, std::span<uint64_t> tdo,
                                      uint64_t count, bool leave);
    [[nodiscard]] Status clock_ones(uint64_t count);
    // TMS as it comes to the target all the time; nothing: as it is driven.
    std::optional<bool> held_tms() const {
        return cable_.held(Wire::Trst) == false ? true : cable_.held(Wire::Tms);
    }
    [[nodiscard]] TmsPath arriving(TmsPath path) const;
    // The target has seen `count` ones in the end, which were all of a run when `all`.
    void seen_ones(uint64_t count, bool all);
    // A call of the target's; one that failed may have been missed.
    [[nodiscard]] Status unless_missed(Status status);
    void pass(uint64_t clocks) { time_ns_ += clocks * period_ns_; }

    Target& target_;
    EdgeObserver* observer_ = nullptr;
    uint64_t time_ns_ = 0;
    uint64_t period_ns_ = kBasePeriodNs;
    TapState state_ = TapState::TestLogicReset; // the controller's
    TapState seen_ = TapState::TestLogicReset;  // where the clocks it saw have led the target
    uint64_t ones_ = 0;                         // ones in a row that the target has seen last
    bool in_step_ = false; // the target is known to be where the controller believes
    bool connected_ = true;
    bool clock_output_ = true;
    bool clock_present_ = true;
    bool power_ = true;
    bool clock_arrives_ = true; // TCK is whole
    bool broken_ = false;       // something else of the cable
    Cable cable_;
};

} // namespace talvor::podsim
