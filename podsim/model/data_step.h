// What the host repeats for each data word of a scan.
#pragma once

#include <cstdint>

namespace talvor::podsim {

// In this order: the wait word, a write of the send register, a settle delay behind it, a read of
// the receive register; each may be missing.
struct DataStep {
    uint16_t wait = 0; // SHM_WAIT_WRITE_ONE, SHM_WAIT_READ_ONE or 0: none
    bool sends = false;
    bool receives = false;
    bool settles = false; // only where it sends: a write of 0 to status register 0

    bool operator==(const DataStep&) const = default;

    // Words that the step takes in a batch.
    constexpr unsigned words() const {
        return (wait != 0 ? 1U : 0U) + (sends ? 2U : 0U) + (settles ? 2U : 0U) +
               (receives ? 1U : 0U);
    }
    // Of the value that is written, within the step.
    constexpr unsigned value_index() const { return wait != 0 ? 2U : 1U; }
};

} // namespace talvor::podsim
