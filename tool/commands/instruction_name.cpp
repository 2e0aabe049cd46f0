#include "tool/commands/instruction_name.h"

#include "tool/commands/context.h"
#include "tool/commands/values.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <vector>

namespace talvor {
namespace {

std::string names_text(const bsdl::Device& device) {
    std::vector<std::string> names;
    for (const bsdl::Instruction& instruction : device.instructions) {
        names.push_back(instruction.name);
    }
    std::sort(names.begin(), names.end());
    return fmt::format("{}", fmt::join(names, ", "));
}

Failure unknown_name(const ChainDevice& device, size_t index, const std::string& word) {
    const std::string thing = fmt::format("instruction {}", word);
    if (!device.description) {
        return usage_error(thing,
                           fmt::format("no BSDL file describes device {}, and it is no "
                                       "hexadecimal number",
                                       index + 1),
                           "name the file as 'bsdl' of the [[device]] in the board file, or its "
                           "folder with --bsdl");
    }
    return usage_error(thing, fmt::format("{} has no such instruction", device.description->name),
                       "it has " + names_text(*device.description));
}

Result<Bits> opcode_bits(const Context& context, const ChainDevice& device,
                         const bsdl::Instruction& instruction) {
    if (instruction.opcodes.empty() ||
        instruction.opcodes.front().bits() != device.instruction_bits) {
        return usage_error(
            fmt::format("instruction {}", instruction.name),
            fmt::format("{} gives it an opcode of {} bits, and the instruction register has {}",
                        device.description_file,
                        instruction.opcodes.empty() ? 0 : instruction.opcodes.front().bits(),
                        device.instruction_bits),
            "'talvor bsdl --check' says what is wrong with the file, 'talvor chain' whether it is "
            "that of the device");
    }
    if (instruction.is_private) {
        context.out.note(fmt::format("{} is private to the maker of {}, and may do harm",
                                     instruction.name, device.description->name));
    }
    const bsdl::Pattern& opcode = instruction.opcodes.front();
    Bits bits(opcode.bits());
    for (size_t i = 0; i < opcode.bits(); ++i) {
        bits.set(i, opcode.bit(i) == '1');
    }
    return bits;
}

} // namespace

bool may_be_name(std::string_view word) noexcept {
    const char first = word.empty() ? '\0' : word.front();
    return (first >= 'A' && first <= 'Z') || (first >= 'a' && first <= 'z');
}

Result<Bits> parse_instruction(const Context& context, const Chain& chain, size_t index,
                               const std::string& word) {
    const ChainDevice& device = chain.devices[index];
    if (!may_be_name(word)) {
        return parse_bits(word, device.instruction_bits, "instruction");
    }
    if (device.description) {
        if (const auto* known = bsdl::find_instruction(*device.description, word)) {
            return opcode_bits(context, device, *known);
        }
    }
    if (Bits::from_hex(word)) {
        return parse_bits(word, device.instruction_bits, "instruction");
    }
    return unknown_name(device, index, word);
}

std::optional<size_t> register_bits(const ChainDevice& device, std::string_view instruction) {
    if (!device.description) {
        return std::nullopt;
    }
    for (const bsdl::RegisterAccess& access : device.description->registers) {
        for (const std::string& name : access.instructions) {
            if (same_name(name, instruction)) {
                return access.bits;
            }
        }
    }
    return std::nullopt;
}

} // namespace talvor
