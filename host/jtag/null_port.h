// A port with nothing behind it.
#pragma once

#include "host/jtag/port.h"

namespace talvor {

// Can everything and does nothing; a scan receives what it sends. For checking a file without a
// pod, and for measuring what works against a port.
class NullPort final : public JtagPort {
public:
    [[nodiscard]] Status can_scan(ScanPath, uint64_t, bool) const override { return {}; }
    [[nodiscard]] Status can_run(StableState, uint64_t, ClockLine) const override { return {}; }
    [[nodiscard]] Status can_set_trst(TrstLevel) const override { return {}; }
    [[nodiscard]] Status can_set_max_frequency(std::optional<double>) const override { return {}; }

    [[nodiscard]] Status reset_tap() override { return {}; }
    [[nodiscard]] Status move(StableState) override { return {}; }
    [[nodiscard]] Status scan(const Scan& scan) override {
        if (scan.in != nullptr && scan.in != scan.out) {
            *scan.in = *scan.out;
        }
        return {};
    }
    [[nodiscard]] Status run(StableState, uint64_t, std::chrono::nanoseconds) override {
        return {};
    }
    [[nodiscard]] Status set_trst(TrstLevel) override { return {}; }
    [[nodiscard]] Status set_max_frequency(std::optional<double>) override { return {}; }
    [[nodiscard]] Status flush() override { return {}; }
};

} // namespace talvor
