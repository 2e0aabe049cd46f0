#include "common/bsdl/instructions.h"

#include "common/bsdl/number.h"
#include "common/bsdl/word_reader.h"
#include "common/bsdl/words.h"
#include "common/text.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <unordered_map>
#include <unordered_set>
#include <utility>

namespace talvor::bsdl {
namespace {

constexpr size_t kMostInstructionBits = 65536;
constexpr size_t kMostRegisterBits = size_t{1} << 24U;
constexpr size_t kIdBits = 32;

// "NAME (OPCODE, OPCODE)".
Instruction read_instruction(WordReader& words, Report& report) {
    Instruction instruction;
    const Word name = words.expect_word("the name of an instruction");
    instruction.name = name.text;
    instruction.place = words.place_of(name);
    (void)words.expect('(', fmt::format("behind the instruction {}", shown(name.text)));
    do {
        const Place place = words.place();
        const std::string bits = words.expect_words("an opcode");
        if (auto opcode = words.at_end() ? std::nullopt : pattern_of(bits, place, report)) {
            instruction.opcodes.push_back(std::move(*opcode));
        }
    } while (words.more());
    (void)words.expect(')', fmt::format("behind the opcodes of {}", shown(name.text)));
    return instruction;
}

// Patterns with commas between them, of 32 bits each.
std::vector<Pattern> read_codes(const Draft& draft, const Attribute& attribute) {
    std::vector<Pattern> codes;
    const JoinedText* text = text_of(attribute, draft.report);
    if (text == nullptr) {
        return codes;
    }
    WordReader words(*text, title(attribute), draft.report);
    do {
        const Place place = words.place();
        const auto code = pattern_of(words.expect_words("a code of 32 bits"), place, draft.report);
        if (code && code->bits() != kIdBits) {
            draft.report.error(place, fmt::format("the code has {}; expected {}",
                                                  count_text(code->bits(), "bit"), kIdBits));
        } else if (code) {
            codes.push_back(*code);
        }
    } while (words.more());
    if (!words.at_end()) {
        words.fault("a ',' or the end");
    }
    return codes;
}

} // namespace

void read_instruction_length(Draft& draft, const Attribute& attribute) {
    draft.device.instruction_bits =
        count_of(attribute, kMostInstructionBits, draft.report).value_or(0);
}

void read_instruction_opcode(Draft& draft, const Attribute& attribute) {
    const JoinedText* text = text_of(attribute, draft.report);
    if (text == nullptr) {
        return;
    }
    std::unordered_set<std::string> names;
    WordReader words(*text, title(attribute), draft.report);
    do {
        Instruction instruction = read_instruction(words, draft.report);
        if (names.insert(folded(instruction.name)).second) {
            draft.device.instructions.push_back(std::move(instruction));
        } else {
            draft.report.error(instruction.place,
                               fmt::format("there is another instruction {}", instruction.name));
        }
    } while (words.more());
    if (!words.at_end()) {
        words.fault("a ',' or the end");
    }
}

void read_instruction_capture(Draft& draft, const Attribute& attribute) {
    if (const JoinedText* text = text_of(attribute, draft.report)) {
        WordReader words(*text, title(attribute), draft.report);
        const Place place = words.place();
        const auto pattern = pattern_of(words.expect_words("a pattern"), place, draft.report);
        draft.device.instruction_capture = pattern.value_or(Pattern{});
    }
}

void read_instruction_private(Draft& draft, const Attribute& attribute) {
    const JoinedText* text = text_of(attribute, draft.report);
    if (text == nullptr) {
        return;
    }
    std::unordered_map<std::string, Instruction*> by_name;
    for (Instruction& instruction : draft.device.instructions) {
        by_name.emplace(folded(instruction.name), &instruction);
    }
    WordReader words(*text, title(attribute), draft.report);
    do {
        const Word name = words.expect_word("the name of an instruction");
        const auto found = by_name.find(folded(name.text));
        if (found != by_name.end()) {
            found->second->is_private = true;
        } else if (!name.is_end()) {
            draft.report.warning(words.place_of(name),
                                 fmt::format("{} is private, and has no opcode", name.text));
        }
    } while (words.more());
}

void read_idcode_register(Draft& draft, const Attribute& attribute) {
    draft.device.idcodes = read_codes(draft, attribute);
}

void read_usercode_register(Draft& draft, const Attribute& attribute) {
    draft.device.usercodes = read_codes(draft, attribute);
}

// ---- registers --------------------------------------------------------------------------------

namespace {

// "[12]" behind the name of a register; what is no number is a length that varies.
std::optional<size_t> read_bits(WordReader& words, Report& report) {
    if (!words.take('[')) {
        return std::nullopt;
    }
    const Word length = words.peek();
    const auto bits = integer_value(length.text);
    if (bits && (*bits < 1 || *bits > static_cast<int64_t>(kMostRegisterBits))) {
        report.error(words.place_of(length), fmt::format("expected the length of a register, from "
                                                         "1 to {} bits, found {}",
                                                         kMostRegisterBits, shown(length.text)));
    }
    while (!words.at_end() && !words.at(']')) {
        (void)words.take();
    }
    (void)words.expect(']', "behind the length of a register");
    return bits && *bits >= 1 && *bits <= static_cast<int64_t>(kMostRegisterBits)
               ? std::optional(static_cast<size_t>(*bits))
               : std::nullopt;
}

// "INSTRUCTION captures 01X".
void read_access(WordReader& words, RegisterAccess& access, Report& report) {
    access.instructions.emplace_back(words.expect_word("the name of an instruction").text);
    access.captures.emplace_back();
    while (!words.at_end() && !words.peek().is_mark()) {
        const Word word = words.take();
        if (!same_name(word.text, "captures")) {
            report.warning(words.place_of(word),
                           fmt::format("{} means nothing here; expected 'captures', ',' or ')'",
                                       shown(word.text)));
            continue;
        }
        const Place place = words.place();
        const std::string bits = words.expect_words("what the register captures");
        access.captures.back() = pattern_of(bits, place, report).value_or(Pattern{});
    }
}

RegisterAccess read_register(WordReader& words, Report& report) {
    RegisterAccess access;
    const Word name = words.expect_word("the name of a register");
    access.name = name.text;
    access.place = words.place_of(name);
    access.bits = read_bits(words, report);
    (void)words.expect('(', fmt::format("behind the register {}", shown(name.text)));
    do {
        read_access(words, access, report);
    } while (words.more());
    (void)words.expect(')', fmt::format("behind the instructions of {}", shown(name.text)));
    return access;
}

struct Standard {
    std::string_view name; // of an instruction
    std::string_view register_name;
};

// Which register the instructions of the standard select.
constexpr std::array<Standard, 9> kStandard{{{"EXTEST", "BOUNDARY"},
                                             {"SAMPLE", "BOUNDARY"},
                                             {"PRELOAD", "BOUNDARY"},
                                             {"INTEST", "BOUNDARY"},
                                             {"BYPASS", "BYPASS"},
                                             {"CLAMP", "BYPASS"},
                                             {"HIGHZ", "BYPASS"},
                                             {"IDCODE", "DEVICE_ID"},
                                             {"USERCODE", "DEVICE_ID"}}};

void add_bypass(Device& device) {
    if (device.instruction_bits == 0 || find_instruction(device, "BYPASS") != nullptr) {
        return;
    }
    Instruction bypass;
    bypass.name = "BYPASS";
    bypass.opcodes = {{std::string(device.instruction_bits, '1')}};
    device.instructions.push_back(std::move(bypass));
}

bool has_register(const Device& device, std::string_view instruction) {
    for (const RegisterAccess& access : device.registers) {
        for (const std::string& name : access.instructions) {
            if (same_name(name, instruction)) {
                return true;
            }
        }
    }
    return false;
}

RegisterAccess& register_of(Device& device, std::string_view name) {
    for (RegisterAccess& access : device.registers) {
        if (same_name(access.name, name)) {
            return access;
        }
    }
    RegisterAccess made;
    made.name = name;
    device.registers.push_back(std::move(made));
    return device.registers.back();
}

void add_lengths(Device& device) {
    for (RegisterAccess& access : device.registers) {
        if (access.bits) {
            continue;
        }
        if (same_name(access.name, "BYPASS")) {
            access.bits = 1;
        } else if (same_name(access.name, "DEVICE_ID")) {
            access.bits = kIdBits;
        } else if (same_name(access.name, "BOUNDARY") && device.boundary_bits != 0) {
            access.bits = device.boundary_bits;
        }
    }
}

} // namespace

// "BOUNDARY (EXTEST, SAMPLE), NAME[12] (A, B captures 01)".
void read_register_access(Draft& draft, const Attribute& attribute) {
    const JoinedText* text = text_of(attribute, draft.report);
    if (text == nullptr) {
        return;
    }
    WordReader words(*text, title(attribute), draft.report);
    do {
        draft.device.registers.push_back(read_register(words, draft.report));
    } while (words.more());
    if (!words.at_end()) {
        words.fault("a ',' or the end");
    }
}

void add_implied(Draft& draft) {
    Device& device = draft.device;
    add_bypass(device);
    for (const Standard& standard : kStandard) {
        const Instruction* instruction = find_instruction(device, standard.name);
        if (instruction != nullptr && !has_register(device, standard.name)) {
            RegisterAccess& access = register_of(device, standard.register_name);
            access.instructions.push_back(instruction->name);
            access.captures.emplace_back();
        }
    }
    add_lengths(device);
}

} // namespace talvor::bsdl
