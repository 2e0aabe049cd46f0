// The test clock that the pod clock register programs.
#pragma once

#include "hardware/pod_revision.h"
#include "hardware/tbc_registers.h"

#include <cstdint>

namespace talvor::podsim {

inline constexpr uint64_t kBasePeriodNs = 10;       // 100 MHz
inline constexpr uint64_t kPredividedPeriodNs = 40; // 25 MHz
// Added to the divider field. On generation 1 the host has added one of its own before.
inline constexpr unsigned kDividerOffset1 = 2;
inline constexpr unsigned kDividerOffset = 3;

// Period of TCK in nanoseconds, exact: the divider times the base period.
constexpr uint64_t tck_period_ns(uint16_t revision, uint16_t pod_clock) {
    const uint64_t base =
        (pod_clock & POD_CLOCK_PREDIVIDE) != 0 ? kPredividedPeriodNs : kBasePeriodNs;
    const unsigned divider = pod_clock & POD_CLOCK_DIVIDER_MASK;
    if (!pod_has_clock_exponent(revision)) {
        return base * (divider + kDividerOffset1);
    }
    const unsigned exponent =
        (static_cast<unsigned>(pod_clock) >> POD_CLOCK_EXPONENT_SHIFT) & POD_CLOCK_EXPONENT_MASK;
    return base * (uint64_t{divider + kDividerOffset} << exponent);
}

// The frequency, cut to whole hertz.
constexpr uint32_t frequency_hz(uint64_t period_ns) {
    return static_cast<uint32_t>(1'000'000'000 / period_ns);
}

} // namespace talvor::podsim
