// What a built-in scan chain consists of, as plain values.
#pragma once

#include "podsim/model/board_description.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace talvor::podsim {

inline constexpr unsigned kMinInstructionBits = 2; // IEEE 1149.1, 7.1: two bits at least
inline constexpr unsigned kMaxInstructionBits = 64;
inline constexpr uint64_t kMaxRegisterBits = uint64_t{1} << 24;
inline constexpr unsigned kMaxAddressBits = 24;
inline constexpr unsigned kMaxDataBits = 64;
inline constexpr uint32_t kMaxRiscvMemoryBytes = uint32_t{1} << 28;

// Captures the same value for ever.
struct ConstantRegister {
    uint64_t bits = 1;
    std::vector<uint64_t> value; // first bit in bit 0 of word 0; missing words are 0
};

// Captures what was last updated.
struct ScratchRegister {
    uint64_t bits = 1;
    std::vector<uint64_t> value; // at power-on; missing words are 0
};

// Captures the number of updates since power-on, modulo its width.
struct CounterRegister {
    uint64_t bits = 1;
};

// Gives access to a RAM. Fields from the first bit shifted on: operation (2 bits), data, address.
struct MemoryRegister {
    unsigned address_bits = 8;
    unsigned data_bits = 32;
    uint64_t words = 256; // 1 to 2 to the power of address_bits; 0 at power-on
};

// A pin with a boundary-scan cell.
struct Pin {
    std::string name;
    bool output = false; // driven by the device; else an input
    bool level = false;  // output: what the device's own logic drives; input: what the board drives
};

// The boundary-scan register in its plain form: one cell a pin, the first pin's shifted first.
struct BoundaryRegister {
    uint64_t extest = 0; // the instruction that lets the cells drive the output pins
    uint64_t sample = 0; // SAMPLE and PRELOAD
    std::vector<Pin> pins;
};

// The debug module interface of a RISC-V debug transport module, with a debug module, a hart and a
// memory behind it. Fields from the first bit shifted on: operation (2 bits), data (32), address.
struct RiscvDescription {
    uint32_t memory_address = 0x8000'0000;
    uint32_t memory_bytes = 65'536;
};

struct RegisterDescription {
    std::string name;
    // Instructions that select the register; not used for a boundary register, which has its own.
    std::vector<uint64_t> instructions;
    std::variant<ConstantRegister, ScratchRegister, CounterRegister, MemoryRegister,
                 BoundaryRegister, RiscvDescription>
        kind;
};

inline constexpr uint64_t kMaxRowsBits = uint64_t{1} << 28;

// Rows of a flash memory that instructions work on: one scans the address, others the row there.
// Programming turns ones into zeros, erasing all rows into ones; the content outlives the supply.
struct RowsDescription {
    std::string name;
    unsigned address_bits = 8;
    uint64_t row_bits = 32;
    uint64_t rows = 256; // 1 to 2 to the power of address_bits
    // The instructions.
    uint64_t address = 0; // the address register
    uint64_t program = 0; // an update programs the row at the address
    uint64_t verify = 0;  // captures the row at the address
    uint64_t erase = 0;   // erases all rows when it becomes the instruction; selects BYPASS
    uint64_t status = 0;  // two bits, see RowArray
};

struct DeviceDescription {
    std::string name;
    unsigned instruction_bits = 4;
    uint64_t instruction_capture = 1; // ends in binary 01 (IEEE 1149.1, 7.1)
    std::optional<uint32_t> idcode;   // bit 0 is 1 (12.1); without one: BYPASS at reset
    uint64_t idcode_instruction = 0;  // only with an idcode; not all ones
    std::vector<RegisterDescription> registers;
    std::vector<RowsDescription> rows{};
    std::optional<BoundaryDescription> boundary{};      // unless a register is one in plain form
    std::vector<InstructionDescription> instructions{}; // the first that matches counts
};

// A net in its plain form: a wire from an output pin to an input pin of plain boundary registers.
struct NetDescription {
    size_t from_device = 0; // indices into the lists of devices and of pins
    size_t from_pin = 0;
    size_t to_device = 0;
    size_t to_pin = 0;
};

struct ChainDescription {
    std::vector<DeviceDescription> devices; // the first is nearest TDI; none: TDI is wired to TDO
    std::vector<NetDescription> nets;
    BoardDescription board{};
};

inline constexpr unsigned kMemoryOperationBits = 2;
// Of a debug module interface.
inline constexpr unsigned kRiscvOperationBits = 2;
inline constexpr unsigned kRiscvDataBits = 32;
inline constexpr unsigned kRiscvAddressBits = 7;

// Bits of a data register.
uint64_t register_bits(const RegisterDescription& description);

// A plain boundary register as what it stands for: each pin a signal, with a cell of type BC_2.
[[nodiscard]] BoundaryDescription general_form(const BoundaryRegister& plain);
// The pins of a device; nothing when it has none with boundary-scan cells.
[[nodiscard]] std::optional<BoundaryDescription> boundary_of(const DeviceDescription& device);
// All nets. Wires from the same pin are one, which has no name.
[[nodiscard]] std::vector<BoardNet> nets_of(const ChainDescription& chain);

} // namespace talvor::podsim
