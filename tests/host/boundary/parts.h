// Descriptions of made-up parts, and a port before a chain of such parts that is worked scan by
// scan. A part's pins have levels: its own where it drives, else those that a test gives them.
#pragma once

#include "common/bsdl/model.h"
#include "host/boundary/access.h"
#include "host/jtag/port.h"

#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace talvor::boundary {

// A part that has a pin of every kind. Cells, 0 nearest TDO:
//   0      CLK   clock
//   1      IN    input
//   2      OUT   output2, safe 1
//   3..7   PA(0), PA(1): an input and an output3 each (3, 4 and 5, 6); control 7, disabled by 1
//   8, 9   PB: bidir BC_7, control 9, disabled by 0
//   10     OC: output2 that is its own control, let go by 1
//   11, 12 SELF: output3 BC_9, control 12, disabled by 0
//   13     IN2 input and OUT2 output2 in one merged cell
//   14     internal
struct PartOptions {
    bool one_opcode = true; // SAMPLE and PRELOAD are one
    bool clamp = true;
    bool highz = true;
    bool intest = true;
};
[[nodiscard]] std::shared_ptr<const bsdl::Device> make_part(const PartOptions& options = {});
// Index into Device::signals.
[[nodiscard]] size_t signal_of(const bsdl::Device& device, const std::string& name);

// A TAP of the chain; without a description a TAP with BYPASS and nothing else.
struct PartTap {
    std::shared_ptr<const bsdl::Device> device;
    size_t instruction_bits = 4; // of one without a description
};

// What all parts do after a scan or a reset.
struct Moment {
    std::vector<std::string> instructions; // "EXTEST"; "" after a reset
    std::vector<Bits> latches;             // the update stage of each boundary register
};

class PartPort final : public JtagPort {
public:
    explicit PartPort(const std::vector<PartTap>& taps);

    // Levels that others give to a pin, by TAP and signal; 0 where nothing is said.
    std::map<std::pair<size_t, size_t>, bool> outside;
    // What the system logic gives to the output and control cells of a TAP.
    std::vector<Bits> core;
    std::vector<Moment> moments;
    uint64_t data_scans = 0;
    uint64_t instruction_scans = 0;
    std::optional<size_t> fails_at;    // this scan fails and does nothing, counted from 0
    bool fails_for_good = false;       // and every scan behind it
    std::optional<Bits> wrong_capture; // of the instruction path

    [[nodiscard]] size_t scans() const { return data_scans + instruction_scans; }
    // Whether the boundary register has the pins.
    [[nodiscard]] bool in_test_mode(const Moment& moment, size_t tap) const;

    [[nodiscard]] Status can_scan(ScanPath, uint64_t, bool) const override { return {}; }
    [[nodiscard]] Status can_run(StableState, uint64_t, ClockLine) const override { return {}; }
    [[nodiscard]] Status can_set_trst(TrstLevel) const override { return {}; }
    [[nodiscard]] Status can_set_max_frequency(std::optional<double>) const override { return {}; }
    [[nodiscard]] Status reset_tap() override;
    [[nodiscard]] Status move(StableState) override { return {}; }
    [[nodiscard]] Status scan(const Scan& scan) override;
    [[nodiscard]] Status run(StableState, uint64_t, std::chrono::nanoseconds) override {
        return {};
    }
    [[nodiscard]] Status set_trst(TrstLevel) override { return {}; }
    [[nodiscard]] Status set_max_frequency(std::optional<double>) override { return {}; }
    [[nodiscard]] Status flush() override { return {}; }

private:
    struct Tap {
        PartTap part;
        std::string instruction; // by its name; "" IDCODE or BYPASS after a reset
        Bits latch;
    };
    using Line = std::deque<bool>; // the bit nearest TDO first

    [[nodiscard]] size_t instruction_bits(const Tap& tap) const;
    [[nodiscard]] static bool boundary_selected(const Tap& tap);
    [[nodiscard]] static std::string decode(const Tap& tap, const Bits& code);
    [[nodiscard]] bool pin_level(size_t tap, const bsdl::Cell& cell) const;
    [[nodiscard]] bool captured(size_t tap, const bsdl::Cell& cell) const;
    void capture(ScanPath path, size_t tap, Line& line) const;
    void update(ScanPath path, Tap& tap, Line& line);
    void remember();

    std::vector<Tap> taps_;
};

// Members with names u1, u2, ... of the same chain.
[[nodiscard]] std::vector<Member> members_of(const std::vector<PartTap>& taps);

} // namespace talvor::boundary
