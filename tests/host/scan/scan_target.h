// A chain of TAPs, and the chain behind a return path: the same clocks on both must give the same.
#pragma once

#include "host/scan/shift_line.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <random>
#include <utility>
#include <vector>

namespace talvor {

// What a register captures.
enum class Captures : uint8_t { Held, Noise, Zeros, Ones };

struct TargetTap {
    size_t instruction_bits = 4;
    // Data registers, chosen by the instruction's value modulo their number; the last is BYPASS.
    std::vector<size_t> lengths{};
    Captures captures = Captures::Held;
    // Updating a register with a 1 nearest TDO makes it this much longer until a 0 comes.
    size_t grows_by = 0;
};

// Devices that only know Capture, Shift and Update; the first is nearest TDI.
class ScanTarget {
public:
    ScanTarget(const std::vector<TargetTap>& taps, uint64_t noise) : noise_(noise) {
        for (const TargetTap& tap : taps) {
            Device device{tap, tap.lengths.size(), 0, {}, {}};
            for (const size_t length : tap.lengths) {
                device.held.emplace_back(length, false);
            }
            device.held.emplace_back(1, false);
            devices_.push_back(device);
        }
    }

    void reset() {
        for (Device& device : devices_) {
            device.chosen = device.held.size() - 1;
        }
    }
    void capture(ScanPath path) {
        line_.clear();
        first_ = 0;
        for (size_t i = devices_.size(); i-- > 0;) {
            Device& device = devices_[i];
            if (path == ScanPath::Ir) {
                for (size_t bit = 0; bit < device.tap.instruction_bits; ++bit) {
                    line_.push_back(bit == 0);
                }
                continue;
            }
            for (const bool bit : device.held[device.chosen]) {
                line_.push_back(captured(device.tap.captures, bit));
            }
        }
    }
    bool shift(bool tdi) {
        if (line_.empty()) {
            return tdi;
        }
        const bool tdo = line_[first_] != 0;
        line_[first_] = tdi;
        first_ = first_ + 1 == line_.size() ? 0 : first_ + 1;
        return tdo;
    }
    void update(ScanPath path) {
        const std::vector<uint8_t> content = this->content();
        size_t at = 0;
        for (size_t i = devices_.size(); i-- > 0;) {
            Device& device = devices_[i];
            const size_t count = path == ScanPath::Ir ? device.tap.instruction_bits
                                                      : device.held[device.chosen].size();
            const auto begin = content.begin() + static_cast<std::ptrdiff_t>(at);
            const std::vector<uint8_t> part(begin, begin + static_cast<std::ptrdiff_t>(count));
            at += count;
            updates_.push_back(part);
            path == ScanPath::Ir ? choose(device, part) : hold(device, part);
        }
    }

    // The shift register, the bit nearest TDO first.
    [[nodiscard]] std::vector<uint8_t> content() const {
        std::vector<uint8_t> bits(line_.begin() + static_cast<std::ptrdiff_t>(first_), line_.end());
        bits.insert(bits.end(), line_.begin(), line_.begin() + static_cast<std::ptrdiff_t>(first_));
        return bits;
    }
    [[nodiscard]] size_t length() const { return line_.size(); }
    // Its bit nearest TDO; nothing without a register.
    [[nodiscard]] std::optional<bool> nearest_tdo() const {
        return line_.empty() ? std::nullopt : std::optional(line_[first_] != 0);
    }
    // What the registers were updated with, since the last look.
    [[nodiscard]] std::vector<std::vector<uint8_t>> take_updates() {
        return std::exchange(updates_, {});
    }

private:
    struct Device {
        TargetTap tap;
        size_t chosen = 0;
        size_t grown = 0;
        std::vector<uint8_t> instruction;
        std::vector<std::vector<uint8_t>> held;
    };

    bool captured(Captures captures, bool held) {
        switch (captures) {
        case Captures::Held:
            return held;
        case Captures::Noise:
            return (noise_() & 1U) != 0;
        case Captures::Zeros:
            return false;
        case Captures::Ones:
            return true;
        }
        return false;
    }
    static void choose(Device& device, const std::vector<uint8_t>& part) {
        size_t value = 0;
        for (size_t i = 0; i < part.size(); ++i) {
            value |= size_t{part[i]} << i;
        }
        device.chosen = value % device.held.size();
    }
    static void hold(Device& device, const std::vector<uint8_t>& part) {
        std::vector<uint8_t>& held = device.held[device.chosen];
        held = part;
        if (device.tap.grows_by == 0 || device.chosen + 1 == device.held.size()) {
            return;
        }
        const size_t length = device.tap.lengths[device.chosen];
        held.resize(part[0] != 0 ? length + device.tap.grows_by : length, 0);
    }

    std::vector<Device> devices_;
    std::vector<uint8_t> line_;
    size_t first_ = 0;
    std::vector<std::vector<uint8_t>> updates_;
    std::mt19937_64 noise_;
};

// The chain as it is: what a scan and a move are on a bare TAP.
class BareTap {
public:
    explicit BareTap(ScanTarget target) : target_(std::move(target)) {}

    [[nodiscard]] ScanTarget& target() { return target_; }
    [[nodiscard]] StableState state() const { return state_; }

    // Into the Shift state: through Capture unless the path's Pause state is left.
    void enter(ScanPath path) {
        if (state_ == pause_state(path)) {
            return;
        }
        leave();
        target_.capture(path);
        state_ = pause_state(path);
    }
    bool clock(bool tdi) { return target_.shift(tdi); }
    void move(StableState to) {
        if (to == StableState::PauseDr || to == StableState::PauseIr) {
            leave();
            target_.capture(to == StableState::PauseIr ? ScanPath::Ir : ScanPath::Dr);
        } else {
            leave();
        }
        if (to == StableState::Reset) {
            target_.reset();
        }
        state_ = to;
    }
    // From a Shift state to where a scan ends.
    void end_in(ScanPath path, StableState to) {
        if (to != pause_state(path)) {
            move(to);
        }
    }

private:
    void leave() {
        if (state_ == StableState::PauseDr || state_ == StableState::PauseIr) {
            target_.update(state_ == StableState::PauseIr ? ScanPath::Ir : ScanPath::Dr);
        }
    }

    ScanTarget target_;
    StableState state_ = StableState::Idle;
};

// The same behind a return path.
class HeldLine final : public ShiftLine {
public:
    // `older` is what the return path holds at first.
    HeldLine(ScanTarget target, uint16_t older) : tap_(std::move(target)), held_(older) {}

    [[nodiscard]] Status send(ScanPath path, const Bits& out, StableState end) override {
        Bits none;
        shift(path, out, none, end);
        return failing_ ? pod_error("pod", "it fails") : Status();
    }
    [[nodiscard]] Status exchange(ScanPath path, const Bits& out, Bits& in,
                                  StableState end) override {
        ++exchanges;
        shift(path, out, in, end);
        return failing_ ? pod_error("pod", "it fails") : Status();
    }
    [[nodiscard]] Status move(StableState to) override {
        tap_.move(to);
        return {};
    }

    [[nodiscard]] BareTap& tap() { return tap_; }
    void fail() { failing_ = true; }

    uint64_t exchanges = 0;
    uint64_t clocks = 0;
    std::optional<bool> stuck;    // what TDO reads whatever the chain does
    size_t lost_bits = 0;         // the return path is so much shorter
    std::optional<uint64_t> flip; // this bit of everything that comes back is flipped

private:
    void shift(ScanPath path, const Bits& out, Bits& in, StableState end) {
        tap_.enter(path);
        in = Bits(out.size());
        for (size_t i = 0; i < out.size(); ++i) {
            held_ |= uint32_t{tap_.clock(out[i])} << kHeldBits;
            const bool back = ((held_ >> lost_bits) & 1U) != 0;
            in.set(i, stuck.value_or(back != (flip == received_++)));
            held_ >>= 1U;
        }
        clocks += out.size();
        tap_.end_in(path, end);
    }

    BareTap tap_;
    uint32_t held_; // the oldest bit lowest
    uint64_t received_ = 0;
    bool failing_ = false;
};

} // namespace talvor
