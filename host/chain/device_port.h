// A port before one device of a chain, as if it stood there alone.
#pragma once

#include "host/chain/chain.h"
#include "host/jtag/port.h"

#include <cstdint>
#include <optional>

namespace talvor {

// Where a device stands, in bits around its own scans.
struct DevicePlace {
    ScanSurroundings instruction;
    ScanSurroundings data;       // with the other devices in BYPASS
    size_t instruction_bits = 0; // of the device itself
    // Between a reset and the first instruction, when each device answers with its IDCODE or with
    // BYPASS; nothing where nobody has looked which.
    std::optional<ScanSurroundings> data_after_reset;
};

enum class IdCodes : uint8_t {
    Read,    // the chain was discovered
    Unknown, // it was described only
};

// Of a device of `chain`, whose instruction lengths are known. `index` counts from 0, nearest TDI
// first.
[[nodiscard]] DevicePlace place_of(const Chain& chain, size_t index, IdCodes codes);

// Its scans are those of the device; ones go into the others, so that every instruction leaves them
// in BYPASS. A scan in pieces that rest in the Pause state is one scan of the chain: what goes
// before the device goes in with the first piece, what follows it when the path is left for Update.
//
// The device gets what it would get alone, and answers so, as long as a scan has as many bits as
// its register. A longer one answers with its own first bits later, by those of the other devices.
class DevicePort final : public JtagPort {
public:
    // The port outlives it. The instruction registers are taken to hold BYPASS until the first
    // reset.
    explicit DevicePort(JtagPort& port, const DevicePlace& place = {})
        : port_(port), place_(place) {}

    // Another place, before the first operation: without one it stands alone.
    void stand_at(const DevicePlace& place) noexcept { place_ = place; }

    [[nodiscard]] Status can_scan(ScanPath path, uint64_t length_bits, bool receive) const override;
    [[nodiscard]] std::vector<TapState> route(StableState from, StableState to) const override {
        return port_.route(from, to);
    }
    [[nodiscard]] Status can_run(StableState state, uint64_t clocks,
                                 ClockLine line) const override {
        return port_.can_run(state, clocks, line);
    }
    [[nodiscard]] Status can_set_trst(TrstLevel level) const override {
        return port_.can_set_trst(level);
    }
    [[nodiscard]] Status can_pulse_trst() const override { return port_.can_pulse_trst(); }
    [[nodiscard]] Status can_set_max_frequency(std::optional<double> hertz) const override {
        return port_.can_set_max_frequency(hertz);
    }
    [[nodiscard]] double hertz_at_most(std::optional<double> hertz) const override {
        return port_.hertz_at_most(hertz);
    }

    [[nodiscard]] Status reset_tap() override;
    [[nodiscard]] Status move(StableState to) override;
    // Errors beside the port's: a data scan between a reset and the first instruction, where nobody
    // has read the IDCODEs (ErrorKind::Refused).
    [[nodiscard]] Status scan(const Scan& scan) override;
    [[nodiscard]] Status run(StableState state, uint64_t clocks,
                             std::chrono::nanoseconds at_least) override;
    [[nodiscard]] Status set_trst(TrstLevel level) override;
    [[nodiscard]] Status pulse_trst() override;
    [[nodiscard]] Status set_max_frequency(std::optional<double> hertz) override {
        return port_.set_max_frequency(hertz);
    }
    [[nodiscard]] Status flush() override { return port_.flush(); }

    // What the other devices still need while the TAP rests in a Pause state: to be called before
    // somebody else uses the port.
    [[nodiscard]] Status leave();

private:
    [[nodiscard]] Result<ScanSurroundings> around(ScanPath path) const;
    [[nodiscard]] Status widened(const Scan& scan, size_t before, size_t after);
    [[nodiscard]] Status bypass_the_others();
    void note_move(StableState state) noexcept;

    JtagPort& port_;
    DevicePlace place_;
    bool after_reset_ = false; // no instruction has been loaded since
    std::optional<ScanPath>
        resting_; // in the Pause state behind a scan, with `after_` bits missing
    size_t after_ = 0;
    bool captured_ = false; // in Pause-IR, with nothing shifted
    Bits out_;              // kept for their memory
    Bits in_;
};

// One scan of the device at `place`, whatever was scanned before and comes behind it: ones go into
// the other devices, so that an instruction leaves them in BYPASS, where data expect them. Errors:
// the port's.
[[nodiscard]] Status scan_device(JtagPort& port, const DevicePlace& place, const Scan& scan);

} // namespace talvor
