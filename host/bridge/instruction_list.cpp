#include "host/bridge/instruction_list.h"

#include <algorithm>
#include <charconv>
#include <string>

namespace talvor {
namespace {

bool stands_among_ones(const Bits& instruction, const Bits& content) {
    if (instruction.size() > content.size()) {
        return false;
    }
    const size_t around = content.size() - instruction.size();
    if (content.count_ones() != around + instruction.count_ones()) {
        return false;
    }
    for (size_t at = 0; at <= around; ++at) {
        if (content.slice(at, instruction.size()) == instruction) {
            return true;
        }
    }
    return false;
}

} // namespace

Result<Bits> parse_instruction(std::string_view text) {
    const size_t colon = text.find(':');
    size_t length = 0;
    if (colon != text.npos) {
        const char* const end = text.data() + text.size();
        const auto read = std::from_chars(text.data() + colon + 1, end, length);
        length = read.ec == std::errc{} && read.ptr == end ? length : 0;
    }
    if (length == 0 || length > InstructionList::kMostBits) {
        return usage_error(std::string(text), "it is no instruction",
                           "give its value and its length in bits, as in 0x11:5");
    }
    return Bits::from_hex(text.substr(0, colon), length);
}

bool InstructionList::finds(const Bits& content) const {
    return content.size() <= kMostBits &&
           std::ranges::any_of(instructions_, [&content](const Bits& instruction) {
               return stands_among_ones(instruction, content);
           });
}

} // namespace talvor
