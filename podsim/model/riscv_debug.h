// A RISC-V debug module of the External Debug Support specification, version 0.13, with one hart
// and a memory: what a debugger needs to examine, halt, read and write.
#pragma once

#include "podsim/model/chain_description.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <vector>

namespace talvor::podsim {

// Modelling decisions:
// - The hart is a pretence: an RV32IC with registers and a program counter that takes every
//   instruction for one that does nothing. A single step passes one of them. When it is resumed it
//   goes on to the first EBREAK that stands in its way, where that enters debug mode, so that
//   breakpoints work; without one it stays where it was, running. It halts at once.
// - Every access is done at once: nothing is ever busy.
// - There is no program buffer. Registers go through abstract commands, memory through the system
//   bus, whether the hart runs or not. Accesses to memory have 8, 16 or 32 bits.
// - CSRs are those of machine mode that a debugger looks at; any other raises an exception.
class RiscvDebug {
public:
    explicit RiscvDebug(const RiscvDescription& description);

    // An access over the debug module interface. `address` is at most 7 bits wide. A register that
    // is not there reads 0 and takes nothing.
    [[nodiscard]] uint32_t read(uint32_t address);
    void write(uint32_t address, uint32_t value);

    // Everything is as after power-on: the hart runs from the beginning of the memory, which is 0.
    void power_on();

    // For tests.
    bool halted() const { return halted_; }

private:
    enum class CommandError : uint8_t { None = 0, NotSupported = 2, Exception = 3, HaltResume = 4 };
    enum class BusError : uint8_t { None = 0, BadAddress = 2, Alignment = 3, Size = 4 };
    enum class Cause : uint8_t { Ebreak = 1, HaltRequest = 3, Step = 4, ResetHalt = 5 };

    // Debug module.
    void reset_module();
    void write_control(uint32_t value);
    uint32_t control() const;
    uint32_t status() const;
    uint32_t abstract_status() const;

    // Hart.
    void reset_hart();
    void halt(Cause cause);
    void resume();
    void step();
    void run_to_ebreak();
    // The two or four bytes of the instruction at `address`; 0 where there is no memory.
    uint32_t instruction_at(uint32_t address) const;
    bool in_memory(uint32_t address, uint32_t bytes) const;
    void run_command();
    CommandError access_register(uint32_t command);
    // The register of a number, as abstract commands count them; null where there is none.
    uint32_t* hart_register(uint32_t number);
    static bool is_writable(uint32_t number);
    void data_accessed();

    // System bus.
    void write_bus_control(uint32_t value);
    uint32_t bus_control() const;
    unsigned bus_bytes() const { return 1U << bus_access_; }
    bool bus_ready() const { return bus_error_ == BusError::None; }
    // Nothing happens where the address cannot be accessed; the error then stands.
    bool bus_can_access();
    void bus_read();
    void bus_write();
    void bus_next();

    uint32_t memory_address_;
    std::vector<uint8_t> memory_;

    bool active_ = false;
    uint32_t selected_ = 0; // hart
    bool ndmreset_ = false;
    bool halt_requested_ = false;
    bool halt_on_reset_ = false;
    bool have_reset_ = false;
    bool resume_acknowledged_ = false;
    uint32_t data_ = 0;
    uint32_t command_ = 0; // the last one
    CommandError command_error_ = CommandError::None;
    bool auto_execute_ = false;

    bool halted_ = false;
    std::array<uint32_t, 32> general_{};
    std::map<uint32_t, uint32_t> csrs_;

    bool bus_read_on_address_ = false;
    bool bus_read_on_data_ = false;
    bool bus_increments_ = false;
    unsigned bus_access_ = 2; // the logarithm of its bytes
    BusError bus_error_ = BusError::None;
    uint32_t bus_address_ = 0;
    uint32_t bus_data_ = 0;
};

} // namespace talvor::podsim
