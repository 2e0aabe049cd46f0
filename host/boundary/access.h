// Access to the boundary registers of a whole chain: instructions, and one scan over all registers.
#pragma once

#include "common/result.h"
#include "host/boundary/plan.h"
#include "host/jtag/bits.h"
#include "host/jtag/port.h"

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace talvor::boundary {

// The instructions of IEEE 1149.1 that matter here.
enum class Instruction : uint8_t { Bypass, Sample, Preload, Extest, Intest, Clamp, HighZ };

// "EXTEST".
[[nodiscard]] std::string_view name_of(Instruction instruction) noexcept;
// Whether it puts the boundary register between TDI and TDO; else that is the BYPASS bit.
[[nodiscard]] constexpr bool selects_boundary(Instruction instruction) noexcept {
    return instruction == Instruction::Sample || instruction == Instruction::Preload ||
           instruction == Instruction::Extest || instruction == Instruction::Intest;
}
// Whether it takes the pins from the system logic.
[[nodiscard]] constexpr bool is_test_mode(Instruction instruction) noexcept {
    return instruction == Instruction::Extest || instruction == Instruction::Intest ||
           instruction == Instruction::Clamp || instruction == Instruction::HighZ;
}

// A device of the chain.
struct Member {
    std::string name; // as the user calls it, "u1"; for messages
    uint32_t instruction_bits = 0;
    std::shared_ptr<const Plan> plan; // null: no description, it stays in BYPASS
};

// What goes into or comes out of the register that each device has selected, nearest TDI first: as
// long as its boundary register, or one bit of BYPASS.
using Images = std::vector<Bits>;

// The opcode, X bits as 0. SAMPLE and PRELOAD stand for each other where a file knows one of them
// only; BYPASS is all ones, whatever the file says. Errors (ErrorKind::Refused): the device has no
// such instruction; says which it has.
[[nodiscard]] Result<Bits> opcode(const Member& member, Instruction instruction);

// One Access is the only one to move the TAPs while it lives; it keeps count of what instructions
// they hold. Between its calls the TAPs stand in Run-Test/Idle.
class Access {
public:
    // Nearest TDI first. The port outlives this. Moves nothing.
    Access(JtagPort& port, std::vector<Member> members);

    [[nodiscard]] const std::vector<Member>& members() const noexcept { return members_; }
    [[nodiscard]] size_t size() const noexcept { return members_.size(); }
    // The image of safe values of each described device, one bit of 0 for every other.
    [[nodiscard]] const Images& safe() const noexcept { return safe_; }

    // One instruction for each device. No scan when they hold these already; else one, whose
    // capture is checked (it ends in binary 01, and is what the description says). Errors: the
    // port's; as for opcode(), then nothing was scanned; (ErrorKind::Target) the capture is wrong,
    // then the instructions went out all the same, and loaded() says so.
    [[nodiscard]] Status load(std::span<const Instruction> instructions);
    // The same one for every described device; the others are in BYPASS.
    [[nodiscard]] Status load(Instruction instruction);
    // These instructions as a list.
    [[nodiscard]] std::vector<Instruction> for_all(Instruction instruction) const;

    // Exactly one data scan. `out` has an entry for each device; one that is empty stands for
    // zeros. `in`, where somebody wants it, becomes what was captured; it may be `out` itself.
    // Errors: the port's.
    [[nodiscard]] Status exchange(const Images& out, Images* in);

    // Loads SAMPLE (no scan when it is loaded) and captures once while the target runs on; what is
    // shifted in is the images of safe values. `in` becomes the samples.
    [[nodiscard]] Status sample(Images& in);
    // Loads PRELOAD, shifts `images` into the boundary registers, where they rest until a test mode
    // takes them to the pins, and checks in the same scan that the registers are as long together
    // as the descriptions say. Errors: the port's; (ErrorKind::Target) they are not.
    [[nodiscard]] Status preload(const Images& images);

    // Test-Logic-Reset: IDCODE or BYPASS in every device.
    [[nodiscard]] Status reset();
    // Everything that is queued has reached the target.
    [[nodiscard]] Status flush() { return port_.flush(); }

    // What the devices hold; empty: not known, as at first, after a reset and after an error.
    [[nodiscard]] const std::vector<Instruction>& loaded() const noexcept { return loaded_; }
    // Data and instruction scans so far.
    [[nodiscard]] uint64_t data_scans() const noexcept { return data_scans_; }
    [[nodiscard]] uint64_t instruction_scans() const noexcept { return instruction_scans_; }

private:
    [[nodiscard]] Status check_capture(const Bits& capture) const;
    [[nodiscard]] Status scan(ScanPath path, const Bits& out, Bits* in);
    [[nodiscard]] Status checked_exchange(const Images& out, Images* in);
    [[nodiscard]] size_t selected_bits(size_t index) const noexcept;
    void forget() noexcept;
    // Appends them to the line.
    void join(const Images& images);
    void split(const Bits& line, Images& images) const;

    JtagPort& port_;
    std::vector<Member> members_;
    Images safe_;
    std::vector<Instruction> loaded_;
    Bits opcodes_; // of loaded_, one behind the other
    bool lengths_checked_ = false;
    Bits line_; // what all registers get, one behind the other
    Bits received_;
    uint64_t data_scans_ = 0;
    uint64_t instruction_scans_ = 0;
};

} // namespace talvor::boundary
