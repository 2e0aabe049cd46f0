// A port with nothing behind it.
#pragma once

#include "jtag/port.h"

namespace talvor {

// Can everything and does nothing; a scan receives what it sends. For checking a file without a
// pod, and for measuring what works against a port.
class NullPort final : public JtagPort {
public:
    [[nodiscard]] Status can_scan(ScanPath, uint64_t, bool) const override { return {}; }
    [[nodiscard]] Status can_run(StableState, uint64_t, ClockLine) const override { return {}; }
    [[nodiscard]] Status can_set_trst(TrstLevel) const override { return {}; }
    [[nodiscard]] Status can_set_max_frequency(std::optional<double>) const override { return {}; }

    Status reset_tap() override { return {}; }
    Status move(StableState) override { return {}; }
    Status scan(const Scan& scan) override {
        if (scan.in != nullptr && scan.in != scan.out) {
            *scan.in = *scan.out;
        }
        return {};
    }
    Status run(StableState, uint64_t, std::chrono::nanoseconds) override { return {}; }
    Status set_trst(TrstLevel) override { return {}; }
    Status set_max_frequency(std::optional<double>) override { return {}; }
    Status flush() override { return {}; }
};

} // namespace talvor
