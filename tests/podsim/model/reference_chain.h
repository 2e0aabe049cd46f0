// A chain of TAPs written the plain way, bit by bit and cell by cell, to compare the model with.
#pragma once

#include "podsim/model/chain_description.h"
#include "podsim/model/tap_state.h"

#include <cstdint>
#include <deque>
#include <map>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace reference {

using podsim::TapState;
using Bits = std::deque<bool>; // the bit nearest TDO first

inline Bits bits_of(const std::vector<std::uint64_t>& words, std::uint64_t count) {
    Bits bits;
    for (std::uint64_t i = 0; i < count; ++i) {
        bits.push_back(i / 64 < words.size() && ((words[i / 64] >> (i % 64)) & 1) != 0);
    }
    return bits;
}

inline std::uint64_t number(const Bits& bits, std::size_t first, std::size_t count) {
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < count; ++i) {
        value |= std::uint64_t{bits[first + i]} << i;
    }
    return value;
}

class Device {
public:
    explicit Device(const podsim::DeviceDescription& description) : d_(description) { power_on(); }

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
        const auto& r = d_.registers[static_cast<std::size_t>(chosen)];
        if (std::holds_alternative<podsim::ScratchRegister>(r.kind)) {
            scratch_[chosen] = shifter_;
        } else if (std::holds_alternative<podsim::CounterRegister>(r.kind)) {
            ++updates_[chosen];
        } else if (const auto* m = std::get_if<podsim::MemoryRegister>(&r.kind)) {
            access(chosen, *m);
        } else if (std::holds_alternative<podsim::BoundaryRegister>(r.kind)) {
            latch_ = shifter_;
        }
    }

    std::uint64_t instruction() const { return instruction_; }

private:
    struct MemoryState {
        std::uint64_t answer = 0;
        std::uint64_t data = 0;
        std::uint64_t address = 0;
    };

    std::uint64_t all_ones() const {
        return d_.instruction_bits == 64 ? ~std::uint64_t{0}
                                         : (std::uint64_t{1} << d_.instruction_bits) - 1;
    }

    // -1: BYPASS, -2: IDCODE, else the index of the register.
    int selected() const {
        if (d_.idcode && instruction_ == d_.idcode_instruction) {
            return -2;
        }
        for (std::size_t i = 0; i < d_.registers.size(); ++i) {
            const auto& r = d_.registers[i];
            if (const auto* b = std::get_if<podsim::BoundaryRegister>(&r.kind)) {
                if (instruction_ == b->extest || instruction_ == b->sample) {
                    return static_cast<int>(i);
                }
                continue;
            }
            for (const std::uint64_t code : r.instructions) {
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
        const auto& r = d_.registers[static_cast<std::size_t>(chosen)];
        if (const auto* c = std::get_if<podsim::ConstantRegister>(&r.kind)) {
            return bits_of(c->value, c->bits);
        }
        if (const auto* s = std::get_if<podsim::ScratchRegister>(&r.kind)) {
            return scratch_.contains(chosen) ? scratch_[chosen] : bits_of(s->value, s->bits);
        }
        if (const auto* c = std::get_if<podsim::CounterRegister>(&r.kind)) {
            return bits_of({updates_[chosen]}, c->bits);
        }
        if (const auto* m = std::get_if<podsim::MemoryRegister>(&r.kind)) {
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
        const auto& b = std::get<podsim::BoundaryRegister>(r.kind);
        Bits bits;
        for (std::size_t pin = 0; pin < b.pins.size(); ++pin) {
            const bool driven = b.pins[pin].output && instruction_ == b.extest;
            bits.push_back(driven ? (pin < latch_.size() && latch_[pin]) : b.pins[pin].level);
        }
        return bits;
    }

    void access(int chosen, const podsim::MemoryRegister& m) {
        const std::uint64_t operation = number(shifter_, 0, 2);
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

    podsim::DeviceDescription d_;
    std::uint64_t instruction_ = 0;
    Bits shifter_{false};
    std::map<int, Bits> scratch_;
    std::map<int, std::uint64_t> updates_;
    std::map<std::pair<int, std::uint64_t>, std::uint64_t> ram_;
    std::map<int, MemoryState> memory_state_;
    Bits latch_;
};

class Chain {
public:
    explicit Chain(const podsim::ChainDescription& description) {
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
        state_ = podsim::next_state(state_, tms);
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

    TapState state() const { return state_; }
    const Device& device(std::size_t index) const { return devices_[index]; }

private:
    TapState state_ = TapState::TestLogicReset;
    std::vector<Device> devices_;
};

// A chain of up to six devices with short instructions, so that a random walk meets each register.
inline podsim::ChainDescription random_chain(std::mt19937_64& random) {
    const auto up_to = [&random](std::uint64_t limit) { return random() % (limit + 1); };
    podsim::ChainDescription chain;
    const std::uint64_t count = up_to(6);
    for (std::uint64_t i = 0; i < count; ++i) {
        podsim::DeviceDescription device;
        device.name = "device " + std::to_string(i);
        device.instruction_bits = static_cast<unsigned>(3 + up_to(3));
        device.instruction_capture = up_to(1) * 4 + 1;
        std::uint64_t next = 0;
        if (up_to(2) != 0) {
            device.idcode = static_cast<std::uint32_t>(random() | 1);
            device.idcode_instruction = next++;
        }
        const auto add = [&](auto kind) {
            device.registers.push_back({"register", {next++}, std::move(kind)});
        };
        add(podsim::ConstantRegister{70, {random(), random() & 0x3F}});
        add(podsim::ScratchRegister{1 + up_to(200), {1}});
        device.registers.back().instructions.push_back(next++);
        add(podsim::CounterRegister{1 + up_to(69)});
        if (up_to(1) != 0) {
            add(podsim::MemoryRegister{3, static_cast<unsigned>(1 + up_to(63)), 1 + up_to(7)});
        } else {
            podsim::BoundaryRegister boundary{next, next + 1, {}};
            for (std::uint64_t pin = 0; pin <= up_to(5); ++pin) {
                boundary.pins.push_back({"pin", up_to(1) != 0, up_to(1) != 0});
            }
            add(boundary);
        }
        chain.devices.push_back(std::move(device));
    }
    return chain;
}

} // namespace reference
