// The boundary-scan register of a device (IEEE 1149.1, clause 11): its cells, and its pins as they
// stand between the device's own logic and the board.
#pragma once

#include "podsim/model/board_description.h"
#include "podsim/model/data_register.h"

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

namespace talvor::podsim {

// Knows what its pins drive and what cells capture of them; the levels that come of it on the board
// are told from outside. Cells stand in words of 64, so that a capture and an update are done by
// the word; only a change of what pins drive is worked out pin by pin, in refresh().
//
// Modelling decision: the device's own logic is a level at each output pin that somebody sets. It
// does not react to inputs, so INTEST and RUNBIST show cells and nothing behind them.
class BoundaryCells : public DataRegister {
public:
    explicit BoundaryCells(const BoundaryDescription& description);

    uint64_t bits() const override { return bits_; }
    void capture(std::span<uint64_t> shifted) override;
    void update(std::span<const uint64_t> shifted) override;
    // Update stages at 0, the device's own logic as described.
    void power_on() override;
    // Test-Logic-Reset: cells of the function CONTROLR disable what they control.
    void reset();
    void set_mode(TestMode mode);
    // A dead device drives no pin.
    void set_dead(bool dead);
    void set_core(size_t pin, Core core);
    Core core(size_t pin) const { return core_[pin]; }

    // Works out what the pins drive now. Whether that has changed since the last call.
    [[nodiscard]] bool refresh();

    size_t pins() const { return levels_.size(); }
    const bsdl::Device& device() const { return *device_; }
    // As of the last refresh().
    const Drive& drive(size_t pin) const { return drives_[pin]; }
    // What the pin finds on no net; nothing: it floats.
    std::optional<bool> unconnected(size_t pin) const { return unconnected_[pin]; }
    // The level at a pin, as it was told last. After levels have been told cells look at them.
    bool level(size_t pin) const { return levels_[pin] != 0; }
    void set_level(size_t pin, bool level) { levels_[pin] = level ? 1 : 0; }
    void look();

private:
    using Words = std::vector<uint64_t>;
    // Cells by what they capture: from the pin, from the device's logic; else from the latch.
    struct Masks {
        Words pin;
        Words core;
    };
    // A cell with a pin.
    struct Site {
        size_t cell;
        size_t pin;
    };
    // One that drives it.
    struct Driver {
        Site site;
        std::optional<size_t> control; // the cell that disables it
        bool disable_value = false;    // of that cell
        bsdl::DisableResult disabled = bsdl::DisableResult::Z;
        bool bidirectional = false;
    };
    // What an input pin goes to by itself.
    struct Rest {
        size_t pin;
        Drive drive;
    };
    static constexpr size_t kModes = 4;

    void add_cell(const bsdl::Cell& cell, bool merged);
    void choose_captures(const bsdl::Cell& cell);
    void work_out_core();
    [[nodiscard]] bool core_enables(const Driver& driver) const;
    [[nodiscard]] bool latch_enables(const Driver& driver) const;
    [[nodiscard]] Drive drive_of(const Driver& driver) const;
    [[nodiscard]] std::vector<Drive> drives_now() const;
    [[nodiscard]] bool tests() const { return mode_ != TestMode::Normal; }

    std::shared_ptr<const bsdl::Device> device_;
    uint64_t bits_;
    std::vector<Core> initial_core_;
    std::vector<std::optional<bool>> unconnected_;
    std::vector<Site> watchers_; // cells that see a pin
    std::vector<Driver> drivers_;
    std::vector<Rest> rests_;
    std::vector<uint8_t> has_cell_; // pins with a driver among the cells
    Words reset_mask_;              // cells that Test-Logic-Reset sets, and to what
    Words reset_value_;
    // By mode, for a bidirectional cell that is disabled, and for one that is enabled; the same for
    // all others.
    std::array<Masks, kModes> disabled_;
    std::array<Masks, kModes> enabled_;

    TestMode mode_ = TestMode::Normal;
    bool dead_ = false;
    bool stale_ = true; // the drives are to be worked out anew
    std::vector<Core> core_;
    std::vector<Drive> drives_;   // a pin each
    std::vector<uint8_t> levels_; // a pin each
    Words latch_;                 // a cell each from here on
    Words seen_;                  // the level at its pin
    Words core_value_;            // what the device's logic gives it
    Words bidirectional_on_;      // the cell is bidirectional and enabled
};

} // namespace talvor::podsim
