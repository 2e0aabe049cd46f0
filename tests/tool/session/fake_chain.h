// A port before a chain that knows reset, IDCODE and BYPASS, with lines that can be broken.
#pragma once

#include <algorithm>
#include <deque>
#include <optional>
#include <vector>

#include "jtag/port.h"

namespace talvor {

struct FakeDevice {
    std::optional<uint32_t> idcode;
    size_t instruction_bits = 4;
    uint64_t capture = 1; // of the instruction register
};

class FakeChain final : public JtagPort {
public:
    // The first device is nearest TDI.
    explicit FakeChain(std::vector<FakeDevice> devices) : devices_(std::move(devices)) { reset(); }

    std::optional<bool> stuck;  // what TDO reads whatever the chain does
    size_t late_bits = 0;       // the answer comes so many bits late
    size_t lost_bits = 0;       // so many of its first bits are lost
    size_t broken_before = 0;   // devices nearest TDI that are cut off; the line behind reads ones
    std::optional<size_t> flip; // this bit of every long data scan is flipped
    size_t resets = 0;

    [[nodiscard]] Status can_scan(ScanPath, uint64_t, bool) const override { return {}; }
    [[nodiscard]] Status can_run(StableState, uint64_t, ClockLine) const override { return {}; }
    [[nodiscard]] Status can_set_trst(TrstLevel) const override { return {}; }
    [[nodiscard]] Status can_set_max_frequency(std::optional<double>) const override { return {}; }
    Status reset_tap() override {
        reset();
        ++resets;
        return {};
    }
    Status move(StableState) override { return {}; }
    Status run(StableState, uint64_t, std::chrono::nanoseconds) override { return {}; }
    Status set_trst(TrstLevel) override { return {}; }
    Status set_max_frequency(std::optional<double>) override { return {}; }
    Status flush() override { return {}; }

    Status scan(const Scan& scan) override {
        std::deque<bool> line = capture(scan.path);
        Bits received(scan.out->size());
        for (size_t i = 0; i < scan.out->size(); ++i) {
            line.push_back(broken_before != 0 || (*scan.out)[i]);
            received.set(i, line.front());
            line.pop_front();
        }
        if (scan.path == ScanPath::Ir) {
            instruct(line);
        }
        if (scan.in != nullptr) {
            *scan.in = disturbed(std::move(received), scan.path);
        }
        return {};
    }

    // Whether every device was left in BYPASS.
    [[nodiscard]] bool all_bypassed() const {
        return std::find(bypassed_.begin(), bypassed_.end(), false) == bypassed_.end();
    }

private:
    void reset() {
        bypassed_.clear();
        for (const FakeDevice& device : devices_) {
            bypassed_.push_back(!device.idcode);
        }
    }

    // What stands in the path, nearest TDO first.
    [[nodiscard]] std::deque<bool> capture(ScanPath path) const {
        std::deque<bool> line;
        for (size_t i = devices_.size(); i-- > broken_before;) {
            const FakeDevice& device = devices_[i];
            const bool code = path == ScanPath::Dr && !bypassed_[i];
            const uint64_t value = path == ScanPath::Ir ? device.capture
                                   : code               ? *device.idcode
                                                        : 0;
            const size_t length = path == ScanPath::Ir ? device.instruction_bits : code ? 32 : 1;
            for (size_t bit = 0; bit < length; ++bit) {
                line.push_back(((value >> bit) & 1U) != 0);
            }
        }
        return line;
    }

    void instruct(const std::deque<bool>& line) {
        auto bit = line.begin();
        for (size_t i = devices_.size(); i-- > broken_before;) {
            bool ones = true;
            for (size_t n = 0; n < devices_[i].instruction_bits; ++n) {
                ones = ones && *bit++;
            }
            bypassed_[i] = ones || !devices_[i].idcode;
        }
    }

    Bits disturbed(Bits received, ScanPath path) {
        if (stuck) {
            received.fill(*stuck);
            return received;
        }
        if (late_bits != 0) {
            Bits late = Bits::ones(late_bits);
            late.append(received.slice(0, received.size() - late_bits));
            received = std::move(late);
        }
        if (lost_bits != 0) {
            Bits early = received.slice(lost_bits, received.size() - lost_bits);
            early.append(Bits::ones(lost_bits));
            received = std::move(early);
        }
        if (flip && path == ScanPath::Dr && received.size() > *flip) {
            received.set(*flip, !received[*flip]);
        }
        return received;
    }

    std::vector<FakeDevice> devices_;
    std::vector<bool> bypassed_;
};

} // namespace talvor
