// Instructions that a user names, to be found again in what a client shifts.
#pragma once

#include "common/result.h"
#include "host/jtag/bits.h"

#include <cstddef>
#include <string_view>
#include <utility>
#include <vector>

namespace talvor {

// "0x11:5": a hexadecimal value and its length in bits, as the instruction path holds it. Errors
// (ErrorKind::Usage): no such text, a length of 0 or beyond
// InstructionList::kMostBits, a value wider than that.
[[nodiscard]] Result<Bits> parse_instruction(std::string_view text);

class InstructionList {
public:
    static constexpr size_t kMostBits = 4096;

    InstructionList() = default;
    explicit InstructionList(std::vector<Bits> instructions)
        : instructions_(std::move(instructions)) {}

    [[nodiscard]] bool empty() const noexcept { return instructions_.empty(); }
    // Whether `content` of an instruction path is one of them, alone or with nothing but ones
    // around it, which is BYPASS for every other device.
    [[nodiscard]] bool finds(const Bits& content) const;

private:
    std::vector<Bits> instructions_;
};

} // namespace talvor
