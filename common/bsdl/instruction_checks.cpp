#include "common/bsdl/checks.h"
#include "common/bsdl/words.h"
#include "common/text.h"

#include <fmt/format.h>

#include <algorithm>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

namespace talvor::bsdl {
namespace {

constexpr uint32_t kSecondEdition = 2001; // which took SAMPLE/PRELOAD apart, and freed EXTEST
constexpr uint32_t kNoManufacturer = 0x7F;

// Whether one opcode is the other, under X of either.
bool overlap(const Pattern& a, const Pattern& b) {
    return a.bits() == b.bits() &&
           std::equal(a.text.begin(), a.text.end(), b.text.begin(),
                      [](char x, char y) { return x == y || x == 'X' || y == 'X'; });
}

bool has_opcode(const Instruction& instruction, char every_bit) {
    return std::any_of(
        instruction.opcodes.begin(), instruction.opcodes.end(), [every_bit](const Pattern& opcode) {
            return opcode.text.find_first_not_of({every_bit, 'X'}) == std::string::npos;
        });
}

// The two that one opcode may stand for.
bool may_share(const Instruction& a, const Instruction& b) {
    return (same_name(a.name, "SAMPLE") && same_name(b.name, "PRELOAD")) ||
           (same_name(a.name, "PRELOAD") && same_name(b.name, "SAMPLE"));
}

void check_capture(const Draft& draft) {
    const Pattern& capture = draft.device.instruction_capture;
    Report& report = draft.report;
    if (capture.text.empty()) {
        report.warning(draft.source.place, "INSTRUCTION_CAPTURE is missing");
    } else if (capture.bits() != draft.device.instruction_bits) {
        report.error(draft.source.place,
                     fmt::format("INSTRUCTION_CAPTURE has {}, and the instruction register {}",
                                 count_text(capture.bits(), "bit"), draft.device.instruction_bits));
    } else if (capture.bit(0) != '1' || (capture.bits() > 1 && capture.bit(1) != '0')) {
        report.error(draft.source.place,
                     fmt::format("INSTRUCTION_CAPTURE is {}; every device captures 01 in the bits "
                                 "nearest TDO",
                                 capture.text));
    }
}

void check_widths(const Draft& draft) {
    for (const Instruction& instruction : draft.device.instructions) {
        for (const Pattern& opcode : instruction.opcodes) {
            if (opcode.bits() != draft.device.instruction_bits) {
                draft.report.error(
                    instruction.place,
                    fmt::format("the opcode {} of {} has {}, and the instruction register {}",
                                shown(opcode.text), instruction.name,
                                count_text(opcode.bits(), "bit"), draft.device.instruction_bits));
            }
        }
    }
}

// Opcodes that stand for two instructions.
class SharedOpcodes {
public:
    explicit SharedOpcodes(const Draft& draft) : draft_(draft) {
        for (const Instruction& instruction : draft.device.instructions) {
            for (const Pattern& opcode : instruction.opcodes) {
                (opcode.text.find('X') == std::string::npos ? plain_ : open_)
                    .emplace_back(&instruction, &opcode);
            }
        }
    }

    void check() {
        std::unordered_map<std::string_view, const Instruction*> users;
        for (const auto& [instruction, opcode] : plain_) {
            const auto [user, is_free] = users.emplace(opcode->text, instruction);
            if (!is_free) {
                tell(*user->second, *instruction, *opcode);
            }
        }
        // Of a file that is nothing but X this would take for ever.
        constexpr size_t kMostPairs = 1'000'000;
        if (open_.size() * (open_.size() + plain_.size()) > kMostPairs) {
            return;
        }
        for (size_t i = 0; i < open_.size(); ++i) {
            for (size_t other = 0; other < plain_.size(); ++other) {
                compare(plain_[other], open_[i]);
            }
            for (size_t other = 0; other < i; ++other) {
                compare(open_[other], open_[i]);
            }
        }
    }

private:
    using Opcode = std::pair<const Instruction*, const Pattern*>;

    void compare(const Opcode& first, const Opcode& second) {
        if (overlap(*first.second, *second.second)) {
            tell(*first.first, *second.first, *second.second);
        }
    }

    void tell(const Instruction& first, const Instruction& second, const Pattern& opcode) {
        if (&first != &second && !may_share(first, second)) {
            draft_.report.warning(second.place, fmt::format("the opcode {} is that of {} and of {}",
                                                            opcode.text, first.name, second.name));
        }
    }

    const Draft& draft_;
    std::vector<Opcode> plain_;
    std::vector<Opcode> open_; // with an X
};

bool in_file(const Draft& draft, std::string_view name) {
    const Instruction* instruction = find_instruction(draft.device, name);
    // What was only added has no place.
    return instruction != nullptr && instruction->place.line != 0;
}

void check_mandatory(const Draft& draft) {
    const Device& device = draft.device;
    Report& report = draft.report;
    const bool has_boundary = !device.cells.empty();
    if (!in_file(draft, "EXTEST")) {
        const std::string text = "the instruction EXTEST is missing";
        has_boundary ? report.error(draft.source.place, text)
                     : report.warning(draft.source.place, text);
    } else if (device.edition != 0 && device.edition < kSecondEdition &&
               !has_opcode(*find_instruction(device, "EXTEST"), '0')) {
        report.warning(find_instruction(device, "EXTEST")->place,
                       "no opcode of EXTEST is all zeros, as this edition of the standard has it");
    }
    if (!in_file(draft, "SAMPLE")) {
        report.warning(draft.source.place, "the instruction SAMPLE is missing");
    }
    if (!in_file(draft, "PRELOAD") && device.edition >= kSecondEdition) {
        report.warning(draft.source.place, "the instruction PRELOAD is missing");
    }
    if (!in_file(draft, "BYPASS")) {
        report.warning(draft.source.place,
                       "the instruction BYPASS is missing; it is taken for all ones");
    } else if (!has_opcode(*find_instruction(device, "BYPASS"), '1')) {
        report.warning(find_instruction(device, "BYPASS")->place,
                       "no opcode of BYPASS is all ones");
    }
}

} // namespace

void check_instructions(const Draft& draft) {
    if (draft.device.instruction_bits == 0) {
        draft.report.error(draft.source.place, "INSTRUCTION_LENGTH is missing");
        return;
    }
    if (draft.device.instruction_bits == 1) {
        draft.report.error(draft.source.place, "an instruction register has 2 bits or more");
    }
    check_capture(draft);
    check_widths(draft);
    SharedOpcodes(draft).check();
    check_mandatory(draft);
}

// ---- registers --------------------------------------------------------------------------------

namespace {

void check_code(const Draft& draft, const Pattern& code) {
    if (code.bit(0) == '0') {
        draft.report.error(draft.source.place,
                           fmt::format("the lowest bit of the IDCODE {} is no 1", code.text));
    }
    const std::string manufacturer = code.text.substr(code.bits() - 12, 11);
    if (Pattern{manufacturer}.value() == kNoManufacturer &&
        manufacturer.find('X') == std::string::npos) {
        draft.report.warning(draft.source.place,
                             fmt::format("the manufacturer of the IDCODE {} is one that no device "
                                         "may have",
                                         code.text));
    }
}

// An instruction and the attribute of its register go together.
void check_pair(const Draft& draft, std::string_view instruction, std::string_view attribute,
                bool has_attribute) {
    const bool has_instruction = in_file(draft, instruction);
    if (has_instruction && !has_attribute) {
        draft.report.warning(draft.source.place, fmt::format("there is an instruction {} and no {}",
                                                             instruction, attribute));
    } else if (has_attribute && !has_instruction) {
        draft.report.warning(draft.source.place, fmt::format("there is {} and no instruction {}",
                                                             attribute, instruction));
    }
}

void check_length(const Draft& draft, const RegisterAccess& access) {
    const size_t standard = same_name(access.name, "BYPASS")      ? 1
                            : same_name(access.name, "DEVICE_ID") ? 32
                            : same_name(access.name, "BOUNDARY")  ? draft.device.boundary_bits
                                                                  : 0;
    if (standard != 0 && access.bits && *access.bits != standard) {
        draft.report.error(access.place,
                           fmt::format("the register {} has {} here, and should have "
                                       "{}",
                                       access.name, count_text(*access.bits, "bit"), standard));
    }
}

void check_captures(const Draft& draft, const RegisterAccess& access) {
    for (size_t i = 0; i < access.captures.size(); ++i) {
        const size_t bits = access.captures[i].bits();
        if (bits != 0 && access.bits && bits != *access.bits) {
            draft.report.warning(access.place,
                                 fmt::format("{} captures {}, and its register {} has {}",
                                             access.instructions[i], count_text(bits, "bit"),
                                             access.name, *access.bits));
        }
    }
}

} // namespace

void check_registers(const Draft& draft) {
    for (const Pattern& code : draft.device.idcodes) {
        check_code(draft, code);
    }
    check_pair(draft, "IDCODE", "IDCODE_REGISTER", !draft.device.idcodes.empty());
    check_pair(draft, "USERCODE", "USERCODE_REGISTER", !draft.device.usercodes.empty());
    std::unordered_set<std::string> known;
    for (const Instruction& instruction : draft.device.instructions) {
        known.insert(folded(instruction.name));
    }
    std::unordered_map<std::string, const RegisterAccess*> users;
    for (const RegisterAccess& access : draft.device.registers) {
        check_length(draft, access);
        check_captures(draft, access);
        for (const std::string& name : access.instructions) {
            if (known.count(folded(name)) == 0) {
                draft.report.warning(access.place,
                                     fmt::format("the instruction {} of the register {} has no "
                                                 "opcode",
                                                 name, access.name));
            }
            const auto [user, is_free] = users.emplace(folded(name), &access);
            if (!is_free && user->second != &access) {
                draft.report.warning(access.place,
                                     fmt::format("the instruction {} selects {} and {}", name,
                                                 user->second->name, access.name));
            }
        }
    }
}

} // namespace talvor::bsdl
