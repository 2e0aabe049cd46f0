// The controller's event counter: edges of one EMU pin.
#pragma once

#include "hardware/tbc_registers.h"
#include "podsim/model/target.h"

#include <cstdint>

namespace talvor::podsim {

// Modelling decision: the rising edge of the start bit begins a count at 0, which runs while the
// bit is set. At the limit it stops; a limit of 0, the power-on value, is none. The two count
// registers show the running count, or the latched one from the latch command to the release.
class EventCounter {
public:
    void write_control(uint16_t value) {
        const bool was_running = running();
        control_ = value;
        if (running() && !was_running) {
            count_ = 0;
        }
    }

    void write_limit_low(uint16_t value) { limit_ = (limit_ & 0xFFFF'0000U) | value; }
    void write_limit_high(uint16_t value) { limit_ = (limit_ & 0xFFFFU) | (uint32_t{value} << 16); }

    // The levels of both pins went from `before` to `after`.
    void levels(EmuPins before, EmuPins after) {
        const bool pin1 = (control_ & TBC_EVENT_PIN1) != 0;
        const bool was = pin1 ? before.emu1 : before.emu0;
        const bool is = pin1 ? after.emu1 : after.emu0;
        const bool wanted = (control_ & TBC_EVENT_RISE) != 0;
        if (running() && was != is && is == wanted && (limit_ == 0 || count_ < limit_)) {
            ++count_;
        }
    }

    void latch() {
        latched_ = true;
        latch_ = count_;
    }
    void release() { latched_ = false; }

    uint16_t low() const { return static_cast<uint16_t>(shown() & 0xFFFF); }
    uint16_t high() const { return static_cast<uint16_t>(shown() >> 16); }

private:
    bool running() const { return (control_ & TBC_EVENT_START) != 0; }
    uint32_t shown() const { return latched_ ? latch_ : count_; }

    uint16_t control_ = 0;
    uint32_t limit_ = 0;
    uint32_t count_ = 0;
    uint32_t latch_ = 0;
    bool latched_ = false;
};

} // namespace talvor::podsim
