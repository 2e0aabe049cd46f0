#include "podsim/description/chain_reader.h"

#include "podsim/description/board_reader.h"
#include "podsim/description/bsdl_tap.h"
#include "podsim/model/chain_check.h"

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace talvor::podsim::description {
namespace {

constexpr uint64_t kLargestInteger = INT64_MAX;

// ---- registers of a TAP -----------------------------------------------------------------------

uint64_t length_of(const TomlReader& reader, uint64_t fallback) {
    return reader.integer("length", fallback, 1, kMaxRegisterBits);
}

ConstantRegister constant_register(const TomlReader& reader) {
    reader.only({"name", "kind", "instruction", "length", "value"});
    ConstantRegister constant{.bits = length_of(reader, 32), .value = {}};
    constant.value = reader.wide("value", constant.bits);
    return constant;
}

ScratchRegister scratch_register(const TomlReader& reader) {
    reader.only({"name", "kind", "instruction", "length", "value"});
    ScratchRegister scratch{.bits = length_of(reader, 32), .value = {}};
    scratch.value = reader.wide("value", scratch.bits);
    return scratch;
}

CounterRegister counter_register(const TomlReader& reader) {
    reader.only({"name", "kind", "instruction", "length"});
    return {.bits = length_of(reader, 32)};
}

MemoryRegister memory_register(const TomlReader& reader) {
    reader.only({"name", "kind", "instruction", "address_bits", "data_bits", "words"});
    MemoryRegister memory;
    memory.address_bits =
        static_cast<unsigned>(reader.integer("address_bits", 8, 1, kMaxAddressBits));
    memory.data_bits = static_cast<unsigned>(reader.integer("data_bits", 32, 1, kMaxDataBits));
    const uint64_t most = uint64_t{1} << memory.address_bits;
    memory.words = reader.integer("words", most, 1, most);
    return memory;
}

BoundaryRegister boundary_register(const TomlReader& reader, uint64_t largest_instruction) {
    reader.only({"name", "kind", "extest", "sample", "pin"});
    reader.require("sample", "the instruction SAMPLE");
    reader.require("pin", "the pins, written [[" + reader.path() + ".pin]]");
    BoundaryRegister boundary;
    boundary.extest = reader.integer("extest", 0, 0, largest_instruction);
    boundary.sample = reader.integer("sample", 0, 0, largest_instruction);
    for (const TomlReader& pin : reader.tables("pin")) {
        pin.only({"name", "output", "level"});
        pin.require("name", "a text");
        boundary.pins.push_back(
            {pin.text("name", ""), pin.boolean("output", false), pin.boolean("level", false)});
    }
    return boundary;
}

RegisterDescription read_register(const TomlReader& reader, uint64_t largest_instruction) {
    reader.require("name", "a text");
    reader.require("kind", "constant, scratch, counter, memory or boundary");
    RegisterDescription description{
        .name = reader.text("name", ""), .instructions = {}, .kind = {}};
    const std::string kind = reader.text("kind", "scratch");
    if (kind == "boundary") {
        description.kind = boundary_register(reader, largest_instruction);
        return description;
    }
    if (kind == "constant") {
        description.kind = constant_register(reader);
    } else if (kind == "scratch") {
        description.kind = scratch_register(reader);
    } else if (kind == "counter") {
        description.kind = counter_register(reader);
    } else if (kind == "memory") {
        description.kind = memory_register(reader);
    } else {
        reader.error("kind", "expected constant, scratch, counter, memory or boundary, found \"" +
                                 kind + "\"");
    }
    reader.require("instruction", "the instruction that selects the register, or several");
    description.instructions = reader.integers("instruction", largest_instruction);
    return description;
}

// ---- TAPs ----------------------------------------------------------------------------

// All ones, as far as TOML's integers reach.
uint64_t largest_instruction_of(unsigned bits) {
    return bits >= 63 ? kLargestInteger : (uint64_t{1} << bits) - 1;
}

RowsDescription read_rows(const TomlReader& reader, uint64_t largest_instruction) {
    reader.only({"name", "address_bits", "row_bits", "rows", "address", "program", "verify",
                 "erase", "status"});
    reader.require("name", "a text");
    RowsDescription rows;
    rows.name = reader.text("name", "");
    rows.address_bits =
        static_cast<unsigned>(reader.integer("address_bits", 8, 1, kMaxAddressBits));
    rows.row_bits = reader.integer("row_bits", 32, 1, kMaxRegisterBits);
    const uint64_t most = uint64_t{1} << rows.address_bits;
    rows.rows = reader.integer("rows", most, 1, most);
    const auto instruction = [&](const char* key, const char* what) {
        reader.require(key, what);
        return reader.integer(key, 0, 0, largest_instruction);
    };
    rows.address = instruction("address", "the instruction that scans the address");
    rows.program = instruction("program", "the instruction that programs the row at the address");
    rows.verify = instruction("verify", "the instruction that reads the row at the address");
    rows.erase = instruction("erase", "the instruction that erases all rows");
    rows.status = instruction("status", "the instruction that reads the status");
    return rows;
}

void read_registers(const TomlReader& reader, DeviceDescription& device) {
    const uint64_t largest = largest_instruction_of(device.instruction_bits);
    for (const TomlReader& one : reader.tables("register")) {
        device.registers.push_back(read_register(one, largest));
    }
}

void read_instruction_register(const TomlReader& reader, uint64_t least_bits,
                               DeviceDescription& device) {
    device.instruction_bits = static_cast<unsigned>(
        reader.integer("ir_length", least_bits, least_bits, kMaxInstructionBits));
    device.instruction_capture =
        reader.integer("ir_capture", 1, 0, largest_instruction_of(device.instruction_bits));
}

uint32_t read_number32(const TomlReader& reader, std::string_view key, uint64_t fallback) {
    return static_cast<uint32_t>(reader.integer(key, fallback, 0, UINT32_MAX));
}

DeviceDescription read_plain_tap(const TomlReader& reader) {
    reader.only({"name", "kind", "ir_length", "ir_capture", "idcode", "idcode_instruction",
                 "register", "rows"});
    reader.require("name", "a text");
    reader.require("ir_length", "the length of the instruction register in bits");
    DeviceDescription device;
    device.name = reader.text("name", "");
    read_instruction_register(reader, kMinInstructionBits, device);
    if (reader.has("idcode")) {
        device.idcode = read_number32(reader, "idcode", 1);
        reader.require("idcode_instruction", "the instruction IDCODE of a TAP with an idcode");
        device.idcode_instruction = reader.integer("idcode_instruction", 0, 0,
                                                   largest_instruction_of(device.instruction_bits));
    } else if (reader.has("idcode_instruction")) {
        reader.error("idcode_instruction", "expected only with idcode");
    }
    read_registers(reader, device);
    const uint64_t largest = largest_instruction_of(device.instruction_bits);
    for (const TomlReader& one : reader.tables("rows")) {
        device.rows.push_back(read_rows(one, largest));
    }
    return device;
}

// The registers of a RISC-V debug transport module have the instructions that RISC-V gives them.
DeviceDescription read_riscv_tap(const TomlReader& reader) {
    constexpr unsigned kInstructionBits = 5;
    constexpr uint64_t kIdcode = 0x01;
    constexpr uint64_t kDtmcs = 0x10;
    constexpr uint64_t kDmi = 0x11;
    constexpr uint64_t kVersion013 = 1;
    constexpr unsigned kAddressBitsShift = 4;
    reader.only({"name", "kind", "ir_length", "ir_capture", "idcode", "memory_address",
                 "memory_bytes", "register"});
    reader.require("name", "a text");
    reader.require("idcode", "the 32 bits of IDCODE");
    DeviceDescription device;
    device.name = reader.text("name", "");
    read_instruction_register(reader, kInstructionBits, device);
    device.idcode = read_number32(reader, "idcode", 1);
    device.idcode_instruction = kIdcode;
    RiscvDescription riscv;
    riscv.memory_address = read_number32(reader, "memory_address", riscv.memory_address);
    riscv.memory_bytes = static_cast<uint32_t>(
        reader.integer("memory_bytes", riscv.memory_bytes, 1, kMaxRiscvMemoryBytes));
    // No access is ever busy or fails: there is nothing to tell, and nothing to reset.
    const uint64_t dtmcs = uint64_t{kRiscvAddressBits} << kAddressBitsShift | kVersion013;
    read_registers(reader, device);
    device.registers.push_back(
        {"dtmcs", {kDtmcs}, ConstantRegister{.bits = kRiscvDataBits, .value = {dtmcs}}});
    device.registers.push_back({"dmi", {kDmi}, riscv});
    return device;
}

DeviceDescription read_tap(const TomlReader& reader, const std::string& folder) {
    if (reader.has("bsdl")) {
        return read_bsdl_tap(reader, folder);
    }
    const std::string kind = reader.text("kind", "plain");
    if (kind == "riscv-dtm") {
        return read_riscv_tap(reader);
    }
    if (kind != "plain") {
        reader.error("kind", "expected plain or riscv-dtm, found \"" + kind + "\"");
    }
    return read_plain_tap(reader);
}

// The key of the file that stands for a field of the model's description.
std::string key_of(const DescriptionError& error) {
    struct Name {
        std::string_view field;
        std::string_view key;
    };
    static constexpr std::array<Name, 9> kNames{{
        {"instruction_bits", "ir_length"},
        {"instruction_capture", "ir_capture"},
        {"instructions", "instruction"},
        {"bits", "length"},
        {"pins", "pin"},
        {"from_device", "from"},
        {"from_pin", "from"},
        {"to_device", "to"},
        {"to_pin", "to"},
    }};
    for (const Name& name : kNames) {
        if (name.field == error.key) {
            return std::string(name.key);
        }
    }
    return error.key;
}

// What the model does not accept, at its place in the file.
void report(const DescriptionError& found, const std::vector<TomlReader>& taps,
            const NetTables& nets) {
    const std::string text = "expected " + found.expected;
    if (found.where == DescriptionError::Where::Net) {
        nets.wires[found.device].error(key_of(found), text);
    } else if (found.where == DescriptionError::Where::BoardNet) {
        nets.nets[found.device].error(found.key, text);
    } else if (found.where == DescriptionError::Where::Register) {
        const std::vector<TomlReader> registers = taps[found.device].tables("register");
        // Those behind them are the TAP's own.
        const TomlReader& at =
            found.index < registers.size() ? registers[found.index] : taps[found.device];
        at.error(key_of(found), text);
    } else if (found.where == DescriptionError::Where::Rows) {
        taps[found.device].tables("rows")[found.index].error(key_of(found), text);
    } else {
        taps[found.device].error(key_of(found), text);
    }
}

void check_names(const ChainDescription& chain, const std::vector<TomlReader>& taps) {
    for (size_t i = 0; i < chain.devices.size(); ++i) {
        for (size_t other = 0; other < i; ++other) {
            if (chain.devices[i].name == chain.devices[other].name) {
                taps[i].error("name", "expected a name of its own, found \"" +
                                          chain.devices[i].name + "\" again");
            }
        }
    }
}

} // namespace

ChainDescription read_chain(const TomlReader& pod, const std::string& folder,
                            const TomlErrors& errors) {
    ChainDescription chain;
    const std::vector<TomlReader> taps = pod.tables("tap");
    for (const TomlReader& tap : taps) {
        chain.devices.push_back(read_tap(tap, folder));
    }
    check_names(chain, taps);
    const NetTables nets = read_board(pod, chain);
    if (errors.any()) {
        return chain;
    }
    if (const auto error = check(chain)) {
        report(*error, taps, nets);
    }
    return chain;
}

} // namespace talvor::podsim::description
