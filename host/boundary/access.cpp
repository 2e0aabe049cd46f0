#include "host/boundary/access.h"

#include "common/text.h"
#include "host/scan/broken_path.h"

#include <fmt/format.h>

#include <algorithm>
#include <numeric>
#include <optional>
#include <utility>

namespace talvor::boundary {
namespace {

// Goes ahead of the images to tell how long the registers are.
constexpr uint64_t kMarker = 0x4D2B1E35;
constexpr size_t kMarkerBits = 32;

const bsdl::Instruction* find_one_of(const bsdl::Device& device,
                                     std::initializer_list<Instruction> names) {
    for (const Instruction name : names) {
        const bsdl::Instruction* found = bsdl::find_instruction(device, name_of(name));
        if (found != nullptr && !found->opcodes.empty()) {
            return found;
        }
    }
    return nullptr;
}

const bsdl::Instruction* find_opcode(const bsdl::Device& device, Instruction instruction) {
    // Files of the standard's first editions know SAMPLE for both.
    switch (instruction) {
    case Instruction::Sample:
        return find_one_of(device, {Instruction::Sample, Instruction::Preload});
    case Instruction::Preload:
        return find_one_of(device, {Instruction::Preload, Instruction::Sample});
    default:
        return find_one_of(device, {instruction});
    }
}

std::string names_of_instructions(const bsdl::Device& device) {
    std::string names;
    for (const bsdl::Instruction& instruction : device.instructions) {
        if (!instruction.is_private) {
            names += (names.empty() ? "" : ", ") + instruction.name;
        }
    }
    return names;
}

Bits bits_of(const bsdl::Pattern& pattern) {
    Bits bits(pattern.bits());
    for (size_t i = 0; i < bits.size(); ++i) {
        bits.set(i, pattern.bit(i) == '1');
    }
    return bits;
}

// As the file writes its patterns.
std::string pattern_text(const Bits& bits) {
    std::string text;
    for (size_t i = bits.size(); i-- > 0;) {
        text += bits[i] ? '1' : '0';
    }
    return text;
}

bool matches(const bsdl::Pattern& pattern, const Bits& bits) {
    if (pattern.bits() != bits.size()) {
        return false;
    }
    for (size_t i = 0; i < bits.size(); ++i) {
        if (pattern.bit(i) != 'X' && pattern.bit(i) != (bits[i] ? '1' : '0')) {
            return false;
        }
    }
    return true;
}

Failure wrong_length(const Bits& received, size_t expected) {
    for (size_t at = 0; at + kMarkerBits <= received.size(); ++at) {
        if (received.to_uint(at, kMarkerBits) == kMarker) {
            return target_error(
                "boundary registers",
                fmt::format("the data path has {} where the descriptions say {}",
                            count_text(at, "bit"), expected),
                "check that the BSDL files are those of these parts; 'talvor chain' compares them");
        }
    }
    return is_silent(received)
               ? broken_path_error(ScanPath::Dr, received)
               : target_error("boundary registers",
                              fmt::format("the data path has more than the {} bits that the "
                                          "descriptions say",
                                          expected),
                              "check that the BSDL files are those of these parts; 'talvor chain' "
                              "compares them");
}

} // namespace

std::string_view name_of(Instruction instruction) noexcept {
    switch (instruction) {
    case Instruction::Bypass:
        return "BYPASS";
    case Instruction::Sample:
        return "SAMPLE";
    case Instruction::Preload:
        return "PRELOAD";
    case Instruction::Extest:
        return "EXTEST";
    case Instruction::Intest:
        return "INTEST";
    case Instruction::Clamp:
        return "CLAMP";
    case Instruction::HighZ:
        return "HIGHZ";
    }
    return "";
}

Result<Bits> opcode(const Member& member, Instruction instruction) {
    if (instruction == Instruction::Bypass || !member.plan) {
        return Bits::ones(member.instruction_bits);
    }
    const bsdl::Device& device = member.plan->device();
    const bsdl::Instruction* found = find_opcode(device, instruction);
    if (found == nullptr) {
        return refused_error(fmt::format("{} of {}", name_of(instruction), member.name),
                             fmt::format("{} has no such instruction", device.name),
                             fmt::format("it has {}", names_of_instructions(device)));
    }
    const bsdl::Pattern& pattern = found->opcodes.front();
    if (pattern.bits() != member.instruction_bits) {
        return refused_error(
            fmt::format("{} of {}", name_of(instruction), member.name),
            fmt::format("its code has {}, but the instruction register of the device has {}",
                        count_text(pattern.bits(), "bit"), member.instruction_bits),
            "check that the BSDL file is that of this part");
    }
    return bits_of(pattern);
}

Access::Access(JtagPort& port, std::vector<Member> members)
    : port_(port), members_(std::move(members)) {
    for (const Member& member : members_) {
        safe_.push_back(member.plan ? member.plan->safe() : Bits(1));
    }
}

Status Access::scan(ScanPath path, const Bits& out, Bits* in) {
    (path == ScanPath::Ir ? instruction_scans_ : data_scans_) += 1;
    Status done = port_.scan({path, &out, in, StableState::Idle});
    if (!done) {
        forget();
    }
    return done;
}

void Access::forget() noexcept {
    loaded_.clear();
    opcodes_.clear();
}

Status Access::check_capture(const Bits& capture) const {
    size_t at = 0;
    for (size_t i = members_.size(); i-- > 0;) {
        const Member& member = members_[i];
        const Bits part = capture.slice(at, member.instruction_bits);
        at += member.instruction_bits;
        const bool ends_right = part.size() < 2 || (part[0] && !part[1]); // 7.1.1 of the standard
        if (member.plan ? matches(member.plan->device().instruction_capture, part) && ends_right
                        : ends_right) {
            continue;
        }
        return target_error(member.name,
                            fmt::format("its instruction register captures {}, expected {}",
                                        pattern_text(part),
                                        member.plan ? member.plan->device().instruction_capture.text
                                                    : "an end in 01"),
                            "check the BSDL file and the chain: 'talvor chain' compares them");
    }
    return {};
}

Status Access::load(std::span<const Instruction> instructions) {
    Bits line;
    for (size_t i = members_.size(); i-- > 0;) {
        line.append(TRY(opcode(members_[i], instructions[i])));
    }
    // SAMPLE and PRELOAD are often one.
    if (loaded_.empty() || line != opcodes_) {
        Bits capture;
        TRY(scan(ScanPath::Ir, line, &capture));
        opcodes_ = std::move(line);
        loaded_.assign(instructions.begin(), instructions.end());
        return check_capture(capture);
    }
    loaded_.assign(instructions.begin(), instructions.end());
    return {};
}

std::vector<Instruction> Access::for_all(Instruction instruction) const {
    std::vector<Instruction> list;
    for (const Member& member : members_) {
        list.push_back(member.plan ? instruction : Instruction::Bypass);
    }
    return list;
}

Status Access::load(Instruction instruction) {
    return load(for_all(instruction));
}

size_t Access::selected_bits(size_t index) const noexcept {
    return members_[index].plan && selects_boundary(loaded_[index]) ? members_[index].plan->bits()
                                                                    : 1;
}

void Access::join(const Images& images) {
    for (size_t i = members_.size(); i-- > 0;) {
        const size_t bits = selected_bits(i);
        if (i < images.size() && images[i].size() == bits) {
            line_.append(images[i]);
        } else {
            line_.resize(line_.size() + bits);
        }
    }
}

void Access::split(const Bits& line, Images& images) const {
    images.resize(members_.size());
    size_t at = 0;
    for (size_t i = members_.size(); i-- > 0;) {
        images[i] = line.slice(at, selected_bits(i));
        at += images[i].size();
    }
}

Status Access::exchange(const Images& out, Images* in) {
    if (loaded_.empty()) {
        return refused_error("data scan", "it is not known what registers are selected",
                             "load instructions first");
    }
    line_.clear();
    join(out);
    TRY(scan(ScanPath::Dr, line_, in != nullptr ? &received_ : nullptr));
    if (in != nullptr) {
        split(received_, *in);
    }
    return {};
}

Status Access::checked_exchange(const Images& out, Images* in) {
    line_ = Bits::from_uint(kMarker, kMarkerBits);
    join(out);
    TRY(scan(ScanPath::Dr, line_, &received_));
    const size_t expected = line_.size() - kMarkerBits;
    if (received_.to_uint(expected, kMarkerBits) != kMarker) {
        return wrong_length(received_, expected);
    }
    lengths_checked_ = true;
    if (in != nullptr) {
        split(received_, *in);
    }
    return {};
}

Status Access::sample(Images& in) {
    TRY(load(Instruction::Sample));
    return lengths_checked_ ? exchange(safe_, &in) : checked_exchange(safe_, &in);
}

Status Access::preload(const Images& images) {
    TRY(load(Instruction::Preload));
    return checked_exchange(images, nullptr);
}

Status Access::reset() {
    forget();
    return port_.reset_tap();
}

} // namespace talvor::boundary
