// A port with nothing behind it, which holds the player of a file to what a port asks of its
// callers.
#pragma once

#include "fuzz/base/check.h"
#include "host/jtag/port.h"

#include <chrono>
#include <cstdint>
#include <optional>
#include <utility>

namespace talvor::fuzz {

// Takes everything.
class StrictPort final : public JtagPort {
public:
    enum class Answer : uint8_t {
        AsSent,
        TurnedInTurn, // every other answer has all its bits turned
    };

    StrictPort(uint64_t most_bits, Answer answer) : most_bits_(most_bits), answer_(answer) {}

    uint64_t scans = 0;
    uint64_t bits = 0;

    [[nodiscard]] Status can_scan(ScanPath, uint64_t length, bool) const override {
        FUZZ_CHECK(length != 0 && length <= most_bits_, "a scan of a length that is allowed");
        return {};
    }
    [[nodiscard]] Status can_run(StableState, uint64_t, ClockLine) const override { return {}; }
    [[nodiscard]] Status can_set_trst(TrstLevel) const override { return {}; }
    [[nodiscard]] Status can_set_max_frequency(std::optional<double> hertz) const override {
        FUZZ_CHECK(!hertz || *hertz > 0, "a frequency above 0");
        return {};
    }

    [[nodiscard]] Status reset_tap() override { return {}; }
    [[nodiscard]] Status move(StableState) override { return {}; }
    [[nodiscard]] Status scan(const Scan& scan) override {
        FUZZ_CHECK(scan.out != nullptr && !scan.out->empty(), "a scan has bits");
        const Result<Bits> again = Bits::from_hex(scan.out->to_hex(), scan.out->size());
        FUZZ_CHECK(again && *again == *scan.out, "bits are the same after a trip through text");
        ++scans;
        bits += scan.out->size();
        if (scan.in != nullptr) {
            Bits in = *scan.out;
            if (answer_ == Answer::TurnedInTurn && ++answers_ % 2 == 0) {
                in ^= Bits::ones(in.size());
            }
            *scan.in = std::move(in);
        }
        return {};
    }
    [[nodiscard]] Status run(StableState, uint64_t, std::chrono::nanoseconds at_least) override {
        FUZZ_CHECK(at_least.count() >= 0, "a time is not negative");
        return {};
    }
    [[nodiscard]] Status set_trst(TrstLevel) override { return {}; }
    [[nodiscard]] Status set_max_frequency(std::optional<double> hertz) override {
        return can_set_max_frequency(hertz);
    }
    [[nodiscard]] Status flush() override { return {}; }

private:
    uint64_t most_bits_;
    Answer answer_;
    uint64_t answers_ = 0;
};

} // namespace talvor::fuzz
