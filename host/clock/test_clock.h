// How a pod's divider settings give the test-clock frequency.
#pragma once

#include "common/result.h"
#include "host/board/key_store.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace talvor {

// Generations of pods, counted from 1: KELM.POD_EMUVERSION, the major number of a pod's revision.
inline constexpr uint32_t kGenerations = 4;

// The frequency is base / ((divider + offset) << exponent). The defaults are those of the simulated
// pod; the table [clock] of a board file replaces them for another pod.
struct ClockFormula {
    uint64_t base_hz = 100'000'000;
    uint64_t predivided_hz = 25'000'000; // the base while the pre-divider is on
    uint32_t offset = 3;

    friend bool operator==(const ClockFormula&, const ClockFormula&) = default;
};

// What the keys KELM.POD_TCKDIV, POD_TCKEXP and POD_TCKPREDIVENA say. The defaults are the
// driver's own for keys that are absent.
struct ClockSetting {
    uint32_t divider = 10;
    uint32_t exponent = 1;
    bool predivide = false;

    friend bool operator==(const ClockSetting&, const ClockSetting&) = default;
};

// One pod generation's test clock.
class TestClock {
public:
    // `generation`: 1 to kGenerations. Generation 1 has dividers up to 12 and no
    // exponent, the others dividers up to 15 and exponents up to 7.
    TestClock(ClockFormula formula, uint32_t generation);

    [[nodiscard]] uint64_t hertz(const ClockSetting& setting) const noexcept;
    [[nodiscard]] uint64_t fastest() const noexcept;
    [[nodiscard]] uint64_t slowest() const noexcept;

    // The setting with the highest frequency that is not above `hertz`; of equal ones that without
    // the pre-divider, then that with the smallest exponent. Nothing when all are above.
    [[nodiscard]] std::optional<ClockSetting> at_most(double hertz) const;

    // The setting that `keys` choose.
    [[nodiscard]] ClockSetting setting(const KeyStore& keys) const;
    // Writes a setting into `keys`.
    void apply(const ClockSetting& setting, KeyStore& keys) const;

private:
    ClockFormula formula_;
    uint32_t generation_;
    std::vector<ClockSetting> settings_; // slowest first
};

// "10.375 MHz", "500 kHz", "488 Hz": at most three decimals.
[[nodiscard]] std::string frequency_text(double hertz);

} // namespace talvor
