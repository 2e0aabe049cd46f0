// Who wants to see what the target sees: a trace, a test.
#pragma once

#include "common/tap_state.h"
#include "podsim/model/target.h"

#include <cstdint>
#include <span>

namespace talvor::podsim {

// A run of TCK periods that the target sees, in one piece. Period i begins at start_ns + i *
// period_ns; TMS and TDI are stable from its beginning, TCK rises in its middle, TDO is what the
// target drives before that rise. Only valid during the call that hands it over.
struct EdgeRun {
    uint64_t start_ns = 0;
    uint64_t period_ns = 0;
    uint64_t count = 0;
    TapState from = TapState::TestLogicReset; // the target's state before the first edge
    std::span<const uint64_t> tms{};          // empty: 0 for all, `last_tms` for the last
    bool last_tms = false;
    std::span<const uint64_t> tdi{}; // empty: `constant_tdi` for all
    bool constant_tdi = true;
    std::span<const uint64_t> tdo{}; // empty: not looked at; TDO drives in Shift states only

    bool tms_at(uint64_t i) const {
        return tms.empty() ? (i + 1 == count && last_tms) : bit(tms, i);
    }
    bool tdi_at(uint64_t i) const { return tdi.empty() ? constant_tdi : bit(tdi, i); }
    // The level of TDO before rising edge i; true (pulled up) where it was not looked at.
    bool tdo_at(uint64_t i) const { return tdo.empty() || bit(tdo, i); }

private:
    static bool bit(std::span<const uint64_t> words, uint64_t i) {
        return ((words[i / 64] >> (i % 64)) & 1) != 0;
    }
};

// Calls come in the order of virtual time, from the thread that runs the batch (pins that a fault
// changes: from the thread that changes them).
class EdgeObserver {
public:
    virtual ~EdgeObserver() = default;
    virtual void edges(const EdgeRun& run) = 0;
    virtual void trst(uint64_t time_ns, bool level) = 0;            // TRSTn: true is inactive
    virtual void target_reset(uint64_t time_ns, bool asserted) = 0; // system reset
    virtual void emu(uint64_t time_ns, EmuPins levels) = 0;         // both pins
};

} // namespace talvor::podsim
