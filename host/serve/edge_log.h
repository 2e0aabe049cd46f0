// What a client does to a target, decoded: scans and resets instead of edges.
#pragma once

#include "common/tap_state.h"
#include "host/jtag/port.h"
#include "host/serve/edge_port.h"

#include <cstdint>
#include <functional>
#include <optional>

namespace talvor {

// One thing that a client has done. Bits are those of its scans' beginning.
struct ClientAct {
    enum class Kind : uint8_t {
        Reset, // the TAP has come to Test-Logic-Reset
        Scan,  // from Capture to Update or into a Pause state, or to where the client left it
        Idle,  // clocks in Run-Test/Idle, beyond the first
        Trst,
        Srst,
        Clock, // the test clock was asked for
    };
    // Of longer scans the first bits are kept only.
    static constexpr size_t kKeptBits = 128;

    Kind kind = Kind::Reset;
    ScanPath path = ScanPath::Dr;
    uint64_t count = 0;    // shift clocks of a scan, or idle clocks
    Bits out{};            // what the client shifted in
    Bits in{};             // what TDO gave
    bool answered = false; // of a scan: all of `in` is known, as somebody asked for it
    bool resumed = false;  // of a scan: goes on from a Pause state, without a capture
    TapState end = TapState::RunTestIdle; // where the TAP stood then
    bool asserted = false;                // of a reset line
    double hertz = 0;                     // of the test clock: what is in force now
};

// Stands between a protocol and the port that it works on.
class EdgeLog final : public EdgePort {
public:
    using Hook = std::function<void(const ClientAct&)>;

    // The port outlives the log.
    EdgeLog(EdgePort& port, Hook hook) : port_(port), hook_(std::move(hook)) {}

    [[nodiscard]] Status start() override;
    [[nodiscard]] Status clock(const Bits& tms, const Bits& tdi, Bits* tdo,
                               const Bits* asked) override;
    [[nodiscard]] Result<bool> tdo() override;
    [[nodiscard]] Status set_trst(bool asserted) override;
    [[nodiscard]] Status set_srst(bool asserted) override;
    [[nodiscard]] Status set_max_frequency(double hertz) override;
    [[nodiscard]] double hertz() const override { return port_.hertz(); }
    [[nodiscard]] Status settle() override { return port_.settle(); }
    [[nodiscard]] Status finish() override;
    [[nodiscard]] bool unsettled() const override { return port_.unsettled(); }
    [[nodiscard]] TapState state() const override { return port_.state(); }

private:
    void edge(bool tms, bool tdi, bool tdo, bool asked);
    void shifted(bool tdi, bool tdo, bool asked);
    void entered(TapState state);
    void begin_scan(ScanPath path, bool resumed);
    void end_scan(TapState state);
    void end_idle();

    EdgePort& port_;
    Hook hook_;
    TapState state_ = TapState::TestLogicReset;
    ClientAct scan_{};
    bool scanning_ = false;
    bool trst_ = false; // nothing is clocked meanwhile
    bool srst_ = false;
    uint64_t idle_clocks_ = 0;
    std::optional<bool> next_tdo_{}; // where it was asked for before its edge
};

} // namespace talvor
