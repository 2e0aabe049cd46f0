#include "podsim/model/chain_check.h"

#include "podsim/model/bit_ring.h"
#include "podsim/model/data_register.h"

#include <algorithm>
#include <array>
#include <set>
#include <utility>

namespace talvor::podsim {
namespace {

using Error = std::optional<DescriptionError>;

// What is wrong with one field: its name, what it must be.
struct Fault {
    std::string key;
    std::string expected;
};
using MaybeFault = std::optional<Fault>;

std::string range(uint64_t low, uint64_t high) {
    return "from " + std::to_string(low) + " to " + std::to_string(high);
}

bool fits(uint64_t value, unsigned bits) {
    return (value & ~low_mask(bits)) == 0;
}

MaybeFault check_bits(uint64_t bits) {
    if (bits < 1 || bits > kMaxRegisterBits) {
        return Fault{"bits", range(1, kMaxRegisterBits)};
    }
    return {};
}

MaybeFault check_value(uint64_t bits, const std::vector<uint64_t>& value) {
    if (MaybeFault fault = check_bits(bits)) {
        return fault;
    }
    const size_t words = words_for(bits);
    const unsigned rest = bits % kWordBits;
    if (value.size() > words || (value.size() == words && rest != 0 && !fits(value.back(), rest))) {
        return Fault{"value", "no wider than the register, " + std::to_string(bits) + " bits"};
    }
    return {};
}

struct KindCheck {
    unsigned instruction_bits;

    MaybeFault operator()(const ConstantRegister& r) const { return check_value(r.bits, r.value); }
    MaybeFault operator()(const ScratchRegister& r) const { return check_value(r.bits, r.value); }
    MaybeFault operator()(const CounterRegister& r) const { return check_bits(r.bits); }

    MaybeFault operator()(const MemoryRegister& r) const {
        if (r.address_bits < 1 || r.address_bits > kMaxAddressBits) {
            return Fault{"address_bits", range(1, kMaxAddressBits)};
        }
        if (r.data_bits < 1 || r.data_bits > kMaxDataBits) {
            return Fault{"data_bits", range(1, kMaxDataBits)};
        }
        const uint64_t reach = uint64_t{1} << r.address_bits;
        if (r.words < 1 || r.words > reach) {
            return Fault{"words", range(1, reach)};
        }
        return {};
    }

    MaybeFault operator()(const BoundaryRegister& r) const {
        if (r.pins.empty()) {
            return Fault{"pins", "at least one pin"};
        }
        return {};
    }

    MaybeFault operator()(const RiscvDescription& r) const {
        if (r.memory_bytes < 1 || r.memory_bytes > kMaxRiscvMemoryBytes) {
            return Fault{"memory_bytes", range(1, kMaxRiscvMemoryBytes)};
        }
        if (r.memory_address > UINT32_MAX - (r.memory_bytes - 1)) {
            return Fault{"memory_address", "an address from which the memory fits into 32 bits"};
        }
        return {};
    }
};

// The instructions of a register with the names of their fields.
std::vector<std::pair<std::string, uint64_t>> instructions_of(const RegisterDescription& r) {
    if (const auto* boundary = std::get_if<BoundaryRegister>(&r.kind)) {
        return {{"extest", boundary->extest}, {"sample", boundary->sample}};
    }
    std::vector<std::pair<std::string, uint64_t>> all;
    for (const uint64_t instruction : r.instructions) {
        all.emplace_back("instructions", instruction);
    }
    return all;
}

MaybeFault check_instruction(const DeviceDescription& device, uint64_t instruction,
                             std::set<uint64_t>& taken, const std::string& key) {
    const uint64_t all_ones = low_mask(device.instruction_bits);
    if (!fits(instruction, device.instruction_bits) || instruction == all_ones) {
        return Fault{key, range(0, all_ones - 1) + ", for all ones is BYPASS"};
    }
    if (!taken.insert(instruction).second) {
        return Fault{key, "an instruction that selects nothing else"};
    }
    return {};
}

// Whether the device's list has an instruction that selects the register.
bool is_selected(const DeviceDescription& device, const RegisterDescription& r) {
    return std::ranges::any_of(device.instructions, [&](const InstructionDescription& one) {
        return one.selects == InstructionDescription::Selects::Register &&
               one.register_index < device.registers.size() &&
               &device.registers[one.register_index] == &r;
    });
}

MaybeFault check_register(const DeviceDescription& device, const RegisterDescription& r,
                          std::set<uint64_t>& taken) {
    if (MaybeFault fault = std::visit(KindCheck{device.instruction_bits}, r.kind)) {
        return fault;
    }
    const auto instructions = instructions_of(r);
    if (instructions.empty() && !is_selected(device, r)) {
        return Fault{"instructions", "at least one instruction"};
    }
    for (const auto& [key, instruction] : instructions) {
        if (MaybeFault fault = check_instruction(device, instruction, taken, key)) {
            return fault;
        }
    }
    return {};
}

MaybeFault check_rows(const DeviceDescription& device, const RowsDescription& rows,
                      std::set<uint64_t>& taken) {
    if (rows.address_bits < 1 || rows.address_bits > kMaxAddressBits) {
        return Fault{"address_bits", range(1, kMaxAddressBits)};
    }
    const uint64_t reach = uint64_t{1} << rows.address_bits;
    if (rows.rows < 1 || rows.rows > reach) {
        return Fault{"rows", range(1, reach)};
    }
    if (rows.row_bits < 1 || rows.row_bits > kMaxRowsBits / rows.rows ||
        rows.row_bits > kMaxRegisterBits) {
        return Fault{"row_bits", range(1, std::min(kMaxRowsBits / rows.rows, kMaxRegisterBits))};
    }
    const std::array<std::pair<const char*, uint64_t>, 5> instructions{{
        {"address", rows.address},
        {"program", rows.program},
        {"verify", rows.verify},
        {"erase", rows.erase},
        {"status", rows.status},
    }};
    for (const auto& [key, instruction] : instructions) {
        if (MaybeFault fault = check_instruction(device, instruction, taken, key)) {
            return fault;
        }
    }
    return {};
}

MaybeFault check_header(const DeviceDescription& device, std::set<uint64_t>& taken) {
    if (device.instruction_bits < kMinInstructionBits ||
        device.instruction_bits > kMaxInstructionBits) {
        return Fault{"instruction_bits", range(kMinInstructionBits, kMaxInstructionBits)};
    }
    if ((device.instruction_capture & 3) != 1 ||
        !fits(device.instruction_capture, device.instruction_bits)) {
        return Fault{"instruction_capture", "a value of " +
                                                std::to_string(device.instruction_bits) +
                                                " bits that ends in binary 01"};
    }
    if (!device.idcode) {
        return {};
    }
    if ((*device.idcode & 1) == 0) {
        return Fault{"idcode", "an odd number, for bit 0 is 1"};
    }
    return check_instruction(device, device.idcode_instruction, taken, "idcode_instruction");
}

Error check_device(const DeviceDescription& device, size_t number) {
    std::set<uint64_t> taken;
    if (MaybeFault fault = check_header(device, taken)) {
        return DescriptionError{DescriptionError::Where::Device, number, 0, fault->key,
                                fault->expected};
    }
    for (size_t i = 0; i < device.registers.size(); ++i) {
        if (MaybeFault fault = check_register(device, device.registers[i], taken)) {
            return DescriptionError{DescriptionError::Where::Register, number, i, fault->key,
                                    fault->expected};
        }
    }
    for (size_t i = 0; i < device.rows.size(); ++i) {
        if (MaybeFault fault = check_rows(device, device.rows[i], taken)) {
            return DescriptionError{DescriptionError::Where::Rows, number, i, fault->key,
                                    fault->expected};
        }
    }
    const auto boundaries = std::ranges::count_if(device.registers, [](const auto& r) {
        return std::holds_alternative<BoundaryRegister>(r.kind);
    });
    if (boundaries + (device.boundary ? 1 : 0) > 1) {
        return DescriptionError{DescriptionError::Where::Device, number, 0, "registers",
                                "one boundary register at most"};
    }
    return {};
}

const Pin* find_pin(const ChainDescription& chain, size_t device, size_t pin) {
    if (device >= chain.devices.size()) {
        return nullptr;
    }
    for (const RegisterDescription& r : chain.devices[device].registers) {
        const auto* boundary = std::get_if<BoundaryRegister>(&r.kind);
        if (boundary != nullptr && pin < boundary->pins.size()) {
            return &boundary->pins[pin];
        }
    }
    return nullptr;
}

MaybeFault check_net(const ChainDescription& chain, const NetDescription& net,
                     std::set<const Pin*>& driven) {
    const Pin* from = find_pin(chain, net.from_device, net.from_pin);
    if (from == nullptr || !from->output) {
        return Fault{"from", "an output pin with a boundary-scan cell"};
    }
    const Pin* to = find_pin(chain, net.to_device, net.to_pin);
    if (to == nullptr || to->output) {
        return Fault{"to", "an input pin with a boundary-scan cell"};
    }
    if (!driven.insert(to).second) {
        return Fault{"to", "an input pin that no other net drives"};
    }
    return {};
}

// Each pin exists, and is on no other net.
MaybeFault check_board_net(const std::vector<size_t>& pins, const BoardNet& net,
                           std::set<std::pair<size_t, size_t>>& connected) {
    for (const PinPlace& place : net.pins) {
        if (place.device >= pins.size() || place.pin >= pins[place.device]) {
            return Fault{"pins", "pins of this chain"};
        }
        if (!connected.insert({place.device, place.pin}).second) {
            return Fault{"pins", "pins that no other net has"};
        }
    }
    return {};
}

Error check_board(const ChainDescription& chain) {
    std::vector<size_t> pins;
    for (const DeviceDescription& device : chain.devices) {
        const auto boundary = boundary_of(device);
        pins.push_back(boundary ? boundary->device->signals.size() : 0);
    }
    std::set<std::pair<size_t, size_t>> connected;
    for (const NetDescription& wire : chain.nets) {
        connected.insert({wire.from_device, wire.from_pin});
        connected.insert({wire.to_device, wire.to_pin});
    }
    for (size_t i = 0; i < chain.board.nets.size(); ++i) {
        if (MaybeFault fault = check_board_net(pins, chain.board.nets[i], connected)) {
            return DescriptionError{DescriptionError::Where::BoardNet, i, 0, fault->key,
                                    fault->expected};
        }
    }
    return {};
}

} // namespace

std::optional<DescriptionError> check(const ChainDescription& chain) {
    for (size_t i = 0; i < chain.devices.size(); ++i) {
        if (Error error = check_device(chain.devices[i], i)) {
            return error;
        }
    }
    std::set<const Pin*> driven;
    for (size_t i = 0; i < chain.nets.size(); ++i) {
        if (MaybeFault fault = check_net(chain, chain.nets[i], driven)) {
            return DescriptionError{DescriptionError::Where::Net, i, 0, fault->key,
                                    fault->expected};
        }
    }
    return check_board(chain);
}

} // namespace talvor::podsim
