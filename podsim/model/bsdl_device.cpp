#include "podsim/model/bsdl_device.h"

#include "podsim/model/bit_ring.h"
#include "podsim/model/bits.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <optional>
#include <string_view>
#include <utility>

namespace talvor::podsim {
namespace {

using Selects = InstructionDescription::Selects;

constexpr uint64_t kDeviceIdBits = 32;

// The instructions that the standard gives a register and a mode.
struct KnownInstruction {
    std::string_view name;
    std::string_view reg;
    TestMode mode;
};
constexpr std::array<KnownInstruction, 11> kKnown{{
    {"BYPASS", "BYPASS", TestMode::Normal},
    {"CLAMP", "BYPASS", TestMode::Extest},
    {"HIGHZ", "BYPASS", TestMode::Highz},
    {"EXTEST", "BOUNDARY", TestMode::Extest},
    {"EXTEST_PULSE", "BOUNDARY", TestMode::Extest},
    {"EXTEST_TRAIN", "BOUNDARY", TestMode::Extest},
    {"SAMPLE", "BOUNDARY", TestMode::Normal},
    {"PRELOAD", "BOUNDARY", TestMode::Normal},
    {"INTEST", "BOUNDARY", TestMode::Intest},
    {"IDCODE", "DEVICE_ID", TestMode::Normal},
    {"USERCODE", "DEVICE_ID", TestMode::Normal},
}};

const KnownInstruction* known(std::string_view name) {
    const auto found = std::ranges::find_if(
        kKnown, [&](const KnownInstruction& one) { return same_name(one.name, name); });
    return found == kKnown.end() ? nullptr : &*found;
}

// Bits of an opcode that matter.
uint64_t mask_of(const bsdl::Pattern& pattern) {
    uint64_t mask = 0;
    for (size_t i = 0; i < pattern.bits(); ++i) {
        mask |= uint64_t{pattern.bit(i) != 'X'} << i;
    }
    return mask;
}

const bsdl::RegisterAccess* register_of(const bsdl::Device& device, std::string_view instruction) {
    for (const bsdl::RegisterAccess& access : device.registers) {
        for (const std::string& one : access.instructions) {
            if (same_name(one, instruction)) {
                return &access;
            }
        }
    }
    return nullptr;
}

// What a register of the file's own captures by an instruction; null where the file does not say.
const bsdl::Pattern* capture_of(const bsdl::RegisterAccess& access,
                                const bsdl::Instruction& instruction) {
    for (const char* standard : {"BOUNDARY", "BYPASS", "DEVICE_ID"}) {
        if (same_name(access.name, standard)) {
            return nullptr;
        }
    }
    for (size_t i = 0; i < std::min(access.instructions.size(), access.captures.size()); ++i) {
        if (same_name(access.instructions[i], instruction.name) && access.captures[i].bits() != 0) {
            return &access.captures[i];
        }
    }
    return nullptr;
}

ConstantRegister constant(const bsdl::Pattern& pattern) {
    ConstantRegister made{.bits = pattern.bits(), .value = {}};
    made.value.resize(words_for(made.bits));
    for (size_t i = 0; i < pattern.bits(); ++i) {
        put_bits(made.value, i, 1, pattern.bit(i) == '1' ? 1 : 0);
    }
    return made;
}

TestMode runbist_mode(const bsdl::Device& device) {
    for (const bsdl::OtherAttribute& other : device.others) {
        if (same_name(other.name, "RUNBIST_EXECUTION") &&
            other.value.find("HIGHZ") != std::string::npos) {
            return TestMode::Highz;
        }
    }
    return TestMode::Extest;
}

// Makes the description, an instruction at a time.
class Maker {
public:
    Maker(std::string name, std::shared_ptr<const bsdl::Device> device)
        : device_(std::move(device)) {
        made_.name = std::move(name);
    }

    [[nodiscard]] Result<DeviceDescription> make() {
        TRY(check());
        made_.instruction_bits = static_cast<unsigned>(device_->instruction_bits);
        made_.instruction_capture = device_->instruction_capture.value();
        add_idcode();
        add_boundary();
        for (const bsdl::Instruction& instruction : device_->instructions) {
            add(instruction);
        }
        return std::move(made_);
    }

private:
    [[nodiscard]] Status check() const;
    void add_idcode();
    void add_boundary();
    void add(const bsdl::Instruction& instruction);
    void choose(std::string_view instruction, std::string_view reg, std::optional<size_t> bits,
                InstructionDescription& chosen);
    void add_register(RegisterDescription made, InstructionDescription& chosen);
    [[nodiscard]] size_t scratch(std::string_view reg, uint64_t bits);

    std::shared_ptr<const bsdl::Device> device_;
    DeviceDescription made_;
};

Status Maker::check() const {
    const auto refuse = [&](const std::string& why) {
        return refused_error({}, fmt::format("{}: {}", device_->name, why));
    };
    const size_t bits = device_->instruction_bits;
    if (bits < kMinInstructionBits || bits > kMaxInstructionBits) {
        return refuse(fmt::format("its instruction register has {} bits, expected {} to {}", bits,
                                  kMinInstructionBits, kMaxInstructionBits));
    }
    if (device_->instruction_capture.bits() != bits ||
        (device_->instruction_capture.value() & 3U) != 1) {
        return refuse(fmt::format("INSTRUCTION_CAPTURE is not {} bits that end in 01", bits));
    }
    if (device_->boundary_bits > kMaxRegisterBits) {
        return refuse(fmt::format("its boundary register has {} bits, expected at most {}",
                                  device_->boundary_bits, kMaxRegisterBits));
    }
    for (const bsdl::RegisterAccess& access : device_->registers) {
        if (access.bits.value_or(1) < 1 || access.bits.value_or(1) > kMaxRegisterBits) {
            return refuse(fmt::format("its register {} has {} bits, expected 1 to {}", access.name,
                                      *access.bits, kMaxRegisterBits));
        }
    }
    for (const bsdl::SignalPair& pair : device_->pairs) {
        if (std::max(pair.representative, pair.associated) >= device_->signals.size()) {
            return refuse("a pair of signals is not complete");
        }
    }
    for (const bsdl::Cell& cell : device_->cells) {
        if (cell.number >= device_->boundary_bits ||
            cell.signal.value_or(0) >= std::max<size_t>(device_->signals.size(), 1) ||
            cell.control.value_or(0) >= device_->boundary_bits) {
            return refuse(fmt::format("cell {} is not complete", cell.number));
        }
    }
    return {};
}

void Maker::add_idcode() {
    const bsdl::Instruction* instruction = bsdl::find_instruction(*device_, "IDCODE");
    if (device_->idcodes.empty() || instruction == nullptr || instruction->opcodes.empty()) {
        return;
    }
    const uint64_t opcode = instruction->opcodes.front().value();
    if (opcode != low_mask(made_.instruction_bits)) {
        made_.idcode = static_cast<uint32_t>(device_->idcodes.front().value() | 1U);
        made_.idcode_instruction = opcode;
    }
}

void Maker::add_boundary() {
    if (device_->boundary_bits == 0) {
        return;
    }
    BoundaryDescription boundary{.device = device_, .core = {}, .unconnected = {}};
    boundary.core.resize(device_->signals.size(), Core::Off);
    for (const bsdl::Cell& cell : device_->cells) {
        if (cell.signal && cell.function == bsdl::CellFunction::Output2 && !cell.control) {
            boundary.core[*cell.signal] = Core::Low;
        }
    }
    made_.boundary = std::move(boundary);
}

void Maker::add(const bsdl::Instruction& instruction) {
    const KnownInstruction* standard = known(instruction.name);
    const bsdl::RegisterAccess* access = register_of(*device_, instruction.name);
    InstructionDescription chosen;
    chosen.mode = standard != nullptr                      ? standard->mode
                  : same_name(instruction.name, "RUNBIST") ? runbist_mode(*device_)
                                                           : TestMode::Normal;
    const bsdl::Pattern* capture = access != nullptr ? capture_of(*access, instruction) : nullptr;
    if (capture != nullptr) {
        add_register({instruction.name, {}, constant(*capture)}, chosen);
    } else if (access != nullptr) {
        choose(instruction.name, access->name, access->bits, chosen);
    } else if (standard != nullptr) {
        choose(instruction.name, standard->reg, std::nullopt, chosen);
    }
    for (const bsdl::Pattern& opcode : instruction.opcodes) {
        chosen.value = opcode.value();
        chosen.mask = mask_of(opcode);
        made_.instructions.push_back(chosen);
    }
}

// The register that an instruction selects; BYPASS where there is none.
void Maker::choose(std::string_view instruction, std::string_view reg, std::optional<size_t> bits,
                   InstructionDescription& chosen) {
    if (same_name(reg, "BOUNDARY")) {
        chosen.selects = made_.boundary ? Selects::Boundary : Selects::Bypass;
    } else if (same_name(reg, "DEVICE_ID") && same_name(instruction, "USERCODE")) {
        const uint64_t value = device_->usercodes.empty() ? 0 : device_->usercodes.front().value();
        add_register({"USERCODE", {}, ConstantRegister{kDeviceIdBits, {value}}}, chosen);
    } else if (same_name(reg, "DEVICE_ID")) {
        chosen.selects = made_.idcode ? Selects::Idcode : Selects::Bypass;
    } else if (!same_name(reg, "BYPASS") && bits) {
        chosen.selects = Selects::Register;
        chosen.register_index = scratch(reg, *bits);
    }
}

void Maker::add_register(RegisterDescription made, InstructionDescription& chosen) {
    chosen.selects = Selects::Register;
    chosen.register_index = made_.registers.size();
    made_.registers.push_back(std::move(made));
}

size_t Maker::scratch(std::string_view reg, uint64_t bits) {
    const auto same = std::ranges::find_if(
        made_.registers, [&](const auto& one) { return same_name(one.name, reg); });
    if (same != made_.registers.end()) {
        return static_cast<size_t>(same - made_.registers.begin());
    }
    made_.registers.push_back({std::string(reg), {}, ScratchRegister{bits, {}}});
    return made_.registers.size() - 1;
}

} // namespace

Result<DeviceDescription> device_of(std::string name, std::shared_ptr<const bsdl::Device> device) {
    return Maker(std::move(name), std::move(device)).make();
}

} // namespace talvor::podsim
