// The built-in target: a chain of TAPs that holds real bits.
#pragma once

#include "common/tap_state.h"
#include "podsim/model/bit_ring.h"
#include "podsim/model/board.h"
#include "podsim/model/chain_description.h"
#include "podsim/model/tap_device.h"
#include "podsim/model/target.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace talvor::podsim {

// All TAPs share TCK and TMS, so they share one state. From capture to update the selected
// registers stand in one ring as one long shift register, the bit nearest TDO first: a shift writes
// at one end and reads at the other, whatever the number of TAPs.
//
// Modelling decisions about devices that are dead or stand in each other's place, which show from
// the next capture on: a dead one has no bits in the chain; what the others shift towards it is
// lost, and its TDO stands still. One that lives again is as after power-on.
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
    [[nodiscard]] std::string take_finding() override { return board_.take_finding(); }

    // The operator's side. Faults outlive the target's supply; one that is there already at the
    // same places is replaced. Errors (ErrorKind::Refused): a place that this board does not have;
    // a fault to mend that it does not have.
    [[nodiscard]] Status add_fault(const BoardFault& fault);
    [[nodiscard]] Status mend_fault(const BoardFault& fault);
    void mend_all();
    [[nodiscard]] std::vector<BoardFault> faults() const;
    // What a device's own logic drives at a pin, until power-on.
    [[nodiscard]] Status set_core(const std::string& pin, Core core);
    // What the board drives at a net; nothing: nothing any more.
    [[nodiscard]] Status set_drive(const std::string& net, std::optional<bool> level);
    const Board& board() const { return board_; }
    // What a data register of a device captures from now on, the lowest bits in word 0; see
    // DataRegister::set_value. Refused as well: a register that there is not, a value that is too
    // long.
    [[nodiscard]] Status set_register(const std::string& device, const std::string& name,
                                      std::vector<uint64_t> value);
    // The value that a data register would capture now.
    [[nodiscard]] std::vector<uint64_t> register_value(DataRegister& cells) const;

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
        if (!breaks_.empty()) [[unlikely]] {
            cross_breaks(count);
        }
        const uint64_t tdo = ring_.read(head_) & mask;
        head_ += count;
        return tdo;
    }
    void append(std::span<const uint64_t> bits, uint64_t count);
    void take(std::span<uint64_t> bits, uint64_t count, uint64_t& position) const;
    void cross_breaks(unsigned count);
    [[nodiscard]] Result<FaultPlace> locate(const BoardFault& fault) const;
    [[nodiscard]] Result<size_t> find_device(const std::string& name) const;
    void faults_changed();

    // A place in the chain.
    struct Slot {
        size_t device;
        std::optional<bool> dead; // the level at which its TDO stands still
    };
    // Where what is shifted meets a dead device.
    struct Break {
        uint64_t behind; // bits between it and TDO
        bool level;
    };

    std::vector<std::unique_ptr<TapDevice>> devices_;
    TapState state_ = TapState::TestLogicReset;
    BitRing ring_;
    uint64_t head_ = 0;   // position of the bit nearest TDO
    uint64_t length_ = 0; // bits between TDI and TDO
    std::vector<uint64_t> scratch_;
    std::vector<Slot> slots_;   // the one nearest TDI first, as of the last capture
    std::vector<Slot> wanted_;  // as from the next one on
    std::vector<Break> breaks_; // between capture and update, the one nearest TDO first
    Board board_;
    std::vector<FaultPlace> faults_;
};

} // namespace talvor::podsim
