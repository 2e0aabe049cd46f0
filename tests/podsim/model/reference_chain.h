// A chain of TAPs written the plain way, bit by bit and cell by cell, to compare the model with.
#pragma once

#include "common/tap_state.h"
#include "podsim/model/chain_description.h"

#include <cstdint>
#include <deque>
#include <map>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace talvor::podsim::reference {

using Bits = std::deque<bool>; // the bit nearest TDO first

inline Bits bits_of(const std::vector<uint64_t>& words, uint64_t count) {
    Bits bits;
    for (uint64_t i = 0; i < count; ++i) {
        bits.push_back(i / 64 < words.size() && ((words[i / 64] >> (i % 64)) & 1) != 0);
    }
    return bits;
}

inline uint64_t number(const Bits& bits, size_t first, size_t count) {
    uint64_t value = 0;
    for (size_t i = 0; i < count; ++i) {
        value |= uint64_t{bits[first + i]} << i;
    }
    return value;
}

class Device {
public:
    explicit Device(const DeviceDescription& description) : d_(description) { power_on(); }

    void power_on() {
        scratch_.clear();
        updates_.clear();
        ram_.clear();
        memory_state_.clear();
        latch_.clear();
        reset();
    }

    void reset() { instruction_ = d_.idcode ? d_.idcode_instruction : all_ones(); }

    // One clock in a state other than Shift.
    void capture(bool ir) {
        shifter_ = ir ? bits_of({d_.instruction_capture}, d_.instruction_bits) : captured();
    }

    bool shift(bool tdi) {
        const bool out = shifter_.front();
        shifter_.pop_front();
        shifter_.push_back(tdi);
        return out;
    }

    void update(bool ir) {
        if (ir) {
            instruction_ = number(shifter_, 0, d_.instruction_bits);
            return;
        }
        const int chosen = selected();
        if (chosen < 0) {
            return;
        }
        const auto& r = d_.registers[static_cast<size_t>(chosen)];
        if (std::holds_alternative<ScratchRegister>(r.kind)) {
            scratch_[chosen] = shifter_;
        } else if (std::holds_alternative<CounterRegister>(r.kind)) {
            ++updates_[chosen];
        } else if (const auto* m = std::get_if<MemoryRegister>(&r.kind)) {
            access(chosen, *m);
        } else if (std::holds_alternative<BoundaryRegister>(r.kind)) {
            latch_ = shifter_;
        }
    }

    // What the register between TDI and TDO gives next.
    bool output() const { return shifter_.front(); }
    uint64_t instruction() const { return instruction_; }

private:
    struct MemoryState {
        uint64_t answer = 0;
        uint64_t data = 0;
        uint64_t address = 0;
    };

    uint64_t all_ones() const {
        return d_.instruction_bits == 64 ? ~uint64_t{0} : (uint64_t{1} << d_.instruction_bits) - 1;
    }

    // -1: BYPASS, -2: IDCODE, else the index of the register.
    int selected() const {
        if (d_.idcode && instruction_ == d_.idcode_instruction) {
            return -2;
        }
        for (size_t i = 0; i < d_.registers.size(); ++i) {
            const auto& r = d_.registers[i];
            if (const auto* b = std::get_if<BoundaryRegister>(&r.kind)) {
                if (instruction_ == b->extest || instruction_ == b->sample) {
                    return static_cast<int>(i);
                }
                continue;
            }
            for (const uint64_t code : r.instructions) {
                if (code == instruction_) {
                    return static_cast<int>(i);
                }
            }
        }
        return -1;
    }

    Bits captured() {
        const int chosen = selected();
        if (chosen == -1) {
            return {false};
        }
        if (chosen == -2) {
            return bits_of({*d_.idcode}, 32);
        }
        const auto& r = d_.registers[static_cast<size_t>(chosen)];
        if (const auto* c = std::get_if<ConstantRegister>(&r.kind)) {
            return bits_of(c->value, c->bits);
        }
        if (const auto* s = std::get_if<ScratchRegister>(&r.kind)) {
            return scratch_.contains(chosen) ? scratch_[chosen] : bits_of(s->value, s->bits);
        }
        if (const auto* c = std::get_if<CounterRegister>(&r.kind)) {
            return bits_of({updates_[chosen]}, c->bits);
        }
        if (const auto* m = std::get_if<MemoryRegister>(&r.kind)) {
            const MemoryState& state = memory_state_[chosen];
            Bits bits = bits_of({state.answer}, 2);
            for (const bool bit : bits_of({state.data}, m->data_bits)) {
                bits.push_back(bit);
            }
            for (const bool bit : bits_of({state.address}, m->address_bits)) {
                bits.push_back(bit);
            }
            return bits;
        }
        const auto& b = std::get<BoundaryRegister>(r.kind);
        Bits bits;
        for (size_t pin = 0; pin < b.pins.size(); ++pin) {
            const bool driven = b.pins[pin].output && instruction_ == b.extest;
            bits.push_back(driven ? (pin < latch_.size() && latch_[pin]) : b.pins[pin].level);
        }
        return bits;
    }

    void access(int chosen, const MemoryRegister& m) {
        const uint64_t operation = number(shifter_, 0, 2);
        if (operation == 0) {
            return;
        }
        MemoryState& state = memory_state_[chosen];
        state.address = number(shifter_, 2 + m.data_bits, m.address_bits);
        if (operation == 3 || state.address >= m.words) {
            state.answer = 3;
            return;
        }
        state.answer = 0;
        auto& word = ram_[{chosen, state.address}];
        if (operation == 2) {
            word = number(shifter_, 2, m.data_bits);
        }
        state.data = word;
    }

    DeviceDescription d_;
    uint64_t instruction_ = 0;
    Bits shifter_{false};
    std::map<int, Bits> scratch_;
    std::map<int, uint64_t> updates_;
    std::map<std::pair<int, uint64_t>, uint64_t> ram_;
    std::map<int, MemoryState> memory_state_;
    Bits latch_;
};

class Chain {
public:
    explicit Chain(const ChainDescription& description) {
        for (const auto& each : description.devices) {
            devices_.emplace_back(each);
        }
    }

    // One rising edge of TCK; the level of TDO before it (ones where it is not driven).
    bool clock(bool tms, bool tdi) {
        bool tdo = true;
        if (state_ == TapState::ShiftDr || state_ == TapState::ShiftIr) {
            bool bit = tdi;
            for (Device& device : devices_) {
                bit = device.shift(bit);
            }
            tdo = bit;
        } else if (state_ == TapState::CaptureDr || state_ == TapState::CaptureIr) {
            for (Device& device : devices_) {
                device.capture(state_ == TapState::CaptureIr);
            }
        }
        state_ = next_state(state_, tms);
        if (state_ == TapState::UpdateDr || state_ == TapState::UpdateIr) {
            for (Device& device : devices_) {
                device.update(state_ == TapState::UpdateIr);
            }
        }
        if (state_ == TapState::TestLogicReset) {
            reset();
        }
        return tdo;
    }

    void reset() {
        state_ = TapState::TestLogicReset;
        for (Device& device : devices_) {
            device.reset();
        }
    }
    void power_on() {
        state_ = TapState::TestLogicReset;
        for (Device& device : devices_) {
            device.power_on();
        }
    }

    // The level of TDO now, ones where it is not driven. The chain is not empty.
    bool tdo() const { return !is_shift(state_) || devices_.back().output(); }
    TapState state() const { return state_; }
    const Device& device(size_t index) const { return devices_[index]; }

private:
    TapState state_ = TapState::TestLogicReset;
    std::vector<Device> devices_;
};

// A chain of up to six devices with short instructions, so that a random walk meets each register.
inline ChainDescription random_chain(std::mt19937_64& random) {
    const auto up_to = [&random](uint64_t limit) { return random() % (limit + 1); };
    ChainDescription chain;
    const uint64_t count = up_to(6);
    for (uint64_t i = 0; i < count; ++i) {
        DeviceDescription device;
        device.name = "device " + std::to_string(i);
        device.instruction_bits = static_cast<unsigned>(3 + up_to(3));
        device.instruction_capture = up_to(1) * 4 + 1;
        uint64_t next = 0;
        if (up_to(2) != 0) {
            device.idcode = static_cast<uint32_t>(random() | 1);
            device.idcode_instruction = next++;
        }
        const auto add = [&](auto kind) {
            device.registers.push_back({"register", {next++}, std::move(kind)});
        };
        add(ConstantRegister{70, {random(), random() & 0x3F}});
        add(ScratchRegister{1 + up_to(200), {1}});
        device.registers.back().instructions.push_back(next++);
        add(CounterRegister{1 + up_to(69)});
        if (up_to(1) != 0) {
            add(MemoryRegister{3, static_cast<unsigned>(1 + up_to(63)), 1 + up_to(7)});
        } else {
            BoundaryRegister boundary{next, next + 1, {}};
            for (uint64_t pin = 0; pin <= up_to(5); ++pin) {
                boundary.pins.push_back({"pin", up_to(1) != 0, up_to(1) != 0});
            }
            add(boundary);
        }
        chain.devices.push_back(std::move(device));
    }
    return chain;
}

} // namespace talvor::podsim::reference
