// A port that writes down what is asked of it.
#pragma once

#include "host/jtag/port.h"
#include "host/svf/keyword.h"

#include <fmt/format.h>

#include <algorithm>
#include <string>
#include <vector>

namespace talvor::svf {

// Answers each receiving scan with what `answers` holds next, and with the sent bits when it is
// empty. Refuses what its limits say, as a pod would.
class RecordingPort final : public JtagPort {
public:
    std::vector<std::string> log;
    std::vector<std::string> answers; // in hex
    uint64_t longest_scan = UINT64_MAX;
    bool counts_outside_idle = false;
    bool has_trst = true;
    bool holds_trst = true;
    bool pulses_trst = false;
    double lowest_hertz = 0;
    double full_hertz = 0; // of the test clock at full speed; 0: not known
    std::string failing;   // the operation whose log line starts like this fails

    [[nodiscard]] Status can_scan(ScanPath, uint64_t length_bits, bool) const override {
        return length_bits <= longest_scan
                   ? Status()
                   : refusal(fmt::format("a scan of {} bits", length_bits), "too long");
    }
    [[nodiscard]] Status can_run(StableState state, uint64_t clocks,
                                 ClockLine line) const override {
        if (clocks == 0) {
            return {};
        }
        if (line == ClockLine::Sck) {
            return refusal("SCK", "there is no system clock");
        }
        return state == StableState::Idle || counts_outside_idle
                   ? Status()
                   : refusal(fmt::format("{} clocks in {}", clocks, name_of(state)),
                             "only Run-Test/Idle is counted");
    }
    [[nodiscard]] Status can_set_trst(TrstLevel level) const override {
        return has_trst && level != TrstLevel::HighZ && (holds_trst || level != TrstLevel::Asserted)
                   ? Status()
                   : refusal("TRST", "no such level");
    }
    [[nodiscard]] Status can_pulse_trst() const override {
        return pulses_trst ? Status() : refusal("TRST", "no pulse");
    }
    [[nodiscard]] double hertz_at_most(std::optional<double> most) const override {
        return most ? std::min(*most, full_hertz) : full_hertz;
    }
    [[nodiscard]] Status can_set_max_frequency(std::optional<double> hertz) const override {
        return !hertz || *hertz >= lowest_hertz ? Status()
                                                : refusal(fmt::format("{} Hz", *hertz), "too slow");
    }

    Status reset_tap() override { return done("reset"); }
    Status move(StableState to) override { return done("move " + text(to)); }
    Status scan(const Scan& scan) override {
        const std::string line =
            fmt::format("{} {} {}{} {}", scan.path == ScanPath::Ir ? "ir" : "dr", scan.out->size(),
                        scan.out->to_hex(), scan.in == nullptr ? "" : " receive", text(scan.end));
        if (scan.in != nullptr) {
            *scan.in = next_answer(*scan.out);
        }
        return done(line);
    }
    Status run(StableState state, uint64_t clocks, std::chrono::nanoseconds at_least) override {
        return done(fmt::format("run {} {} {}ns", text(state), clocks, at_least.count()));
    }
    Status set_trst(TrstLevel level) override {
        return done(level == TrstLevel::Asserted ? "trst on" : "trst off");
    }
    Status pulse_trst() override { return done("trst pulse"); }
    Status set_max_frequency(std::optional<double> hertz) override {
        return done(hertz ? fmt::format("hertz {}", *hertz) : "hertz full");
    }
    Status flush() override { return done("flush"); }

private:
    static std::string text(StableState state) { return std::string(keyword(tap_state(state))); }
    static Failure refusal(std::string thing, std::string reason) {
        return refused_error(std::move(thing), std::move(reason), "do without");
    }
    Bits next_answer(const Bits& out) {
        if (answers.empty()) {
            return out;
        }
        const std::string hex = answers.front();
        answers.erase(answers.begin());
        return Bits::from_hex(hex, out.size()).value();
    }
    Status done(std::string line) {
        log.push_back(std::move(line));
        if (!failing.empty() && log.back().starts_with(failing)) {
            return Failure({ErrorKind::Pod, -140, "pod 1", "the batch failed", "look at the pod"});
        }
        return {};
    }
};

} // namespace talvor::svf
