// A device of every kind of cell, made by hand, and a host that works its boundary register.
#pragma once

#include "podsim/model/bsdl_device.h"
#include "podsim/model/chain.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace talvor::podsim::board {

using bsdl::CellFunction;
using bsdl::DisableResult;
using bsdl::PortMode;

// Instructions of every device made here, four bits each; 1111 is BYPASS.
inline constexpr uint64_t kExtest = 0;
inline constexpr uint64_t kSample = 1;
inline constexpr uint64_t kIntest = 2;
inline constexpr uint64_t kClamp = 3;
inline constexpr uint64_t kHighz = 4;
inline constexpr unsigned kInstructionBits = 4;

// A device that grows pin by pin and cell by cell.
class DeviceMaker {
public:
    DeviceMaker() {
        device_.name = "MADE";
        device_.instruction_bits = kInstructionBits;
        device_.instruction_capture.text = "0001";
        for (const auto& [name, opcode] : {std::pair{"EXTEST", "0000"},
                                           {"SAMPLE", "0001"},
                                           {"PRELOAD", "0001"},
                                           {"INTEST", "0010"},
                                           {"CLAMP", "0011"},
                                           {"HIGHZ", "0100"},
                                           {"BYPASS", "1111"}}) {
            bsdl::Instruction instruction;
            instruction.name = name;
            instruction.opcodes.push_back({opcode});
            device_.instructions.push_back(std::move(instruction));
        }
    }

    size_t pin(const std::string& name, PortMode mode) {
        bsdl::Signal signal;
        signal.name = signal.port = name;
        signal.mode = mode;
        signal.pin = std::to_string(device_.signals.size() + 1);
        device_.signals.push_back(std::move(signal));
        return device_.signals.size() - 1;
    }

    // The next cell; its number.
    size_t cell(const char* type, CellFunction function, std::optional<size_t> pin = {}) {
        bsdl::Cell made;
        made.number = device_.boundary_bits++;
        made.type = type;
        made.function = function;
        made.signal = pin;
        device_.cells.push_back(std::move(made));
        return device_.cells.back().number;
    }
    // The same, disabled by `control` at `value`.
    size_t driver(const char* type, CellFunction function, size_t pin, size_t control, char value,
                  DisableResult result = DisableResult::Z) {
        const size_t number = cell(type, function, pin);
        bsdl::Cell& made = device_.cells.back();
        made.control = control;
        made.disable_value = value;
        made.disable_result = result;
        return number;
    }

    bsdl::Device& device() { return device_; }
    DeviceDescription described(const std::string& name) const {
        auto made = device_of(name, std::make_shared<bsdl::Device>(device_));
        EXPECT_TRUE(made) << (made ? "" : headline(made.error()));
        return made ? *std::move(made) : DeviceDescription{};
    }

private:
    bsdl::Device device_;
};

// A host over a chain of devices made here, which gives all the same instruction.
class Host {
public:
    explicit Host(ChainDescription description)
        : chain(description), devices_(description.devices.size()) {}

    void instruction(uint64_t code) {
        uint64_t codes = 0;
        for (size_t i = 0; i < devices_; ++i) {
            codes |= code << (i * kInstructionBits);
        }
        go(TapState::ShiftIr);
        scan(codes, static_cast<unsigned>(devices_ * kInstructionBits));
    }
    // What the registers captured; `bits` in all, up to 64, the last device's first.
    uint64_t data(uint64_t value, unsigned bits) {
        go(TapState::ShiftDr);
        return scan(value, bits);
    }
    void preload(uint64_t value, unsigned bits) {
        instruction(kSample);
        data(value, bits);
    }
    void reset() { EXPECT_TRUE(chain.pulse_trst()); }
    bool level(const std::string& pin) const {
        const auto found = chain.board().find_pin(pin);
        EXPECT_TRUE(found) << pin;
        const Board::PinCells at = chain.board().cells_of(found.value_or(0));
        return at.cells->level(at.pin);
    }

    Chain chain;

private:
    void go(TapState to) {
        const TmsPath path = shortest_path(chain.state(), to);
        ASSERT_TRUE(path.count == 0 || chain.move(path.tms, path.count, true));
    }
    uint64_t scan(uint64_t value, unsigned bits) {
        uint64_t tdo = 0;
        EXPECT_TRUE(chain.shift({&value, 1}, {&tdo, 1}, bits, true));
        go(TapState::RunTestIdle);
        return tdo & low_mask(bits);
    }

    size_t devices_;
};

inline ChainDescription chain_of(std::vector<DeviceDescription> devices) {
    return {.devices = std::move(devices), .nets = {}};
}

inline BoardNet net(const std::string& name, std::vector<PinPlace> pins) {
    return {.name = name, .pins = std::move(pins), .pull = {}, .drive = {}, .floating = {}};
}

} // namespace talvor::podsim::board
