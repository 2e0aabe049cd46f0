// The controller's registers.
#pragma once

#include "common/result.h"
#include "host/driver/pod.h"

#include <cstdint>
#include <span>

namespace talvor {

// Of the largest controllers; the driver refuses what the connected one does not have.
inline constexpr uint32_t kRegisters = 32;

struct RegisterStretch {
    uint32_t first = 0;
    uint32_t count = 1;
    bool same = false; // the first again and again, instead of one after the other
};

// The values, the pod's until its next scan or read; 0 to 15 come from the driver's cache. Errors:
// the driver's.
[[nodiscard]] Result<std::span<const uint16_t>> read_registers(Pod& pod,
                                                               const RegisterStretch& stretch);
// Writes `values` to the registers from `first`, or all to that one; of 0 to 15 only changes are
// sent. They have reached the controller when it returns. Errors: the driver's.
[[nodiscard]] Status write_registers(Pod& pod, uint32_t first, bool same,
                                     std::span<const uint16_t> values);

} // namespace talvor
