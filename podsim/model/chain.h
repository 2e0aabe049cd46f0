// The built-in target: a chain of TAPs that holds real bits.
#pragma once

#include "common/tap_state.h"
#include "podsim/model/bit_ring.h"
#include "podsim/model/chain_description.h"
#include "podsim/model/tap_device.h"
#include "podsim/model/target.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace talvor::podsim {

// All TAPs share TCK and TMS, so they share one state. From capture to update the selected
// registers stand in one ring as one long shift register, the bit nearest TDO first: a shift writes
// at one end and reads at the other, whatever the number of TAPs.
class Chain : public Target {
public:
    // `description` must be free of errors.
    explicit Chain(const ChainDescription& description);

    [[nodiscard]] Status move(uint64_t tms, unsigned count, bool tdi) override;
    [[nodiscard]] Status shift(std::span<const uint64_t> tdi, std::span<uint64_t> tdo,
                               uint64_t count, bool leave) override;
    [[nodiscard]] Status pulse_trst() override;
    // Modelling decision: the system reset leaves test logic and registers of the chain alone; it
    // is there for the trace and for external targets.
    [[nodiscard]] Status set_reset(bool asserted) override;
    [[nodiscard]] Status power_on() override;
    // Modelling decision: nothing in the chain drives the EMU pins.
    EmuPins emu_pins() override { return {}; }

    TapState state() const { return state_; }
    size_t size() const { return devices_.size(); }
    const TapDevice& device(size_t index) const { return *devices_[index]; }

private:
    bool step(bool tms, bool tdi); // one clock; the level of TDO before it
    void enter(TapState next);     // to a state, with what happens on entering it
    void capture();
    void update();
    void reset();
    void shift_astray(std::span<const uint64_t> tdi, std::span<uint64_t> tdo, uint64_t count,
                      bool leave);
    uint64_t shift_word(uint64_t tdi, unsigned count) {
        const uint64_t mask = low_mask(count);
        ring_.write(head_ + length_, tdi & mask, count);
        const uint64_t tdo = ring_.read(head_) & mask;
        head_ += count;
        return tdo;
    }
    void append(std::span<const uint64_t> bits, uint64_t count);
    void take(std::span<uint64_t> bits, uint64_t count, uint64_t& position) const;

    std::vector<std::unique_ptr<TapDevice>> devices_;
    TapState state_ = TapState::TestLogicReset;
    BitRing ring_;
    uint64_t head_ = 0;   // position of the bit nearest TDO
    uint64_t length_ = 0; // bits between TDI and TDO
    std::vector<uint64_t> scratch_;
};

} // namespace talvor::podsim
