// The line of an edge engine over a connected pod.
#pragma once

#include "host/bridge/edge_line.h"
#include "host/session/pod_port.h"

namespace talvor {

// The port is nobody else's while the line is used: what it knows of scans is not told.
class PodEdgeLine final : public EdgeLine {
public:
    // The port outlives the line.
    explicit PodEdgeLine(PodPort& port) : port_(port) {}

    [[nodiscard]] Status send(ScanPath path, const Bits& out, StableState end) override {
        return port_.line().send(path, out, end);
    }
    [[nodiscard]] Status exchange(ScanPath path, const Bits& out, Bits& in,
                                  StableState end) override {
        return port_.line().exchange(path, out, in, end);
    }
    [[nodiscard]] Status move(StableState to) override { return port_.line().move(to); }
    [[nodiscard]] Status idle(uint32_t times) override {
        return port_.line().move_via_idle(StableState::Idle, times);
    }
    [[nodiscard]] Status reset_tap() override { return port_.line().reset_tap(); }
    [[nodiscard]] Result<StableState> ask_state() override { return port_.ask_state(); }
    [[nodiscard]] Status pulse_trst() override;
    [[nodiscard]] Status pulse_srst() override { return port_.pulse_reset(); }
    [[nodiscard]] Status set_max_frequency(double hertz) override {
        return port_.set_max_frequency(hertz);
    }
    [[nodiscard]] double hertz() const override { return static_cast<double>(port_.hertz()); }
    [[nodiscard]] Status flush() override { return port_.flush(); }

private:
    PodPort& port_;
};

} // namespace talvor
