#include "podsim/model/tap_device.h"

#include "podsim/model/bit_ring.h"

#include <algorithm>
#include <utility>

namespace talvor::podsim {
namespace {

constexpr uint64_t kIdcodeBits = 32;

} // namespace

TapDevice::TapDevice(const DeviceDescription& description)
    : name_(description.name), instruction_bits_(description.instruction_bits),
      instruction_capture_(description.instruction_capture),
      reset_instruction_(low_mask(description.instruction_bits)) {
    registers_.push_back(std::make_unique<BypassCell>());
    DataRegister* idcode = registers_.back().get();
    named_.push_back({"bypass", idcode});
    if (description.idcode) {
        reset_instruction_ = description.idcode_instruction;
        registers_.push_back(
            std::make_unique<ConstantCells>(ConstantRegister{kIdcodeBits, {*description.idcode}}));
        idcode = registers_.back().get();
        named_.push_back({"idcode", idcode});
        by_instruction_[reset_instruction_] = {idcode};
    }
    const size_t first_register = registers_.size();
    add_registers(description);
    for (const InstructionDescription& each : description.instructions) {
        add_instruction(each, first_register, idcode);
    }
    for (const RowsDescription& each : description.rows) {
        add_rows(each);
    }
    reset();
}

// The boundary register of a device that has no register in plain form comes behind the others.
void TapDevice::add_registers(const DeviceDescription& description) {
    std::unique_ptr<BoundaryCells> cells;
    if (const auto boundary = boundary_of(description)) {
        cells = std::make_unique<BoundaryCells>(*boundary);
        boundary_ = cells.get();
    }
    for (const RegisterDescription& each : description.registers) {
        if (const auto* plain = std::get_if<BoundaryRegister>(&each.kind)) {
            registers_.push_back(std::move(cells));
            named_.push_back({each.name, boundary_});
            by_instruction_[plain->extest] = {boundary_, TestMode::Extest};
            by_instruction_[plain->sample] = {boundary_, TestMode::Normal};
            continue;
        }
        registers_.push_back(make_register(each));
        named_.push_back({each.name, registers_.back().get()});
        for (const uint64_t instruction : each.instructions) {
            by_instruction_[instruction] = {registers_.back().get()};
        }
    }
    if (cells) {
        registers_.push_back(std::move(cells));
        named_.push_back({"boundary", boundary_});
    }
}

void TapDevice::add_instruction(const InstructionDescription& instruction, size_t first_register,
                                DataRegister* idcode) {
    Selection selection{registers_.front().get(), instruction.mode};
    switch (instruction.selects) {
    case InstructionDescription::Selects::Bypass:
        break;
    case InstructionDescription::Selects::Idcode:
        selection.cells = idcode;
        break;
    case InstructionDescription::Selects::Boundary:
        selection.cells = boundary_;
        break;
    case InstructionDescription::Selects::Register:
        selection.cells = registers_[first_register + instruction.register_index].get();
        break;
    }
    patterns_.push_back({instruction.value, instruction.mask, selection});
}

TapDevice::Selection TapDevice::selection_of(uint64_t instruction) const {
    const Selection bypass{registers_.front().get()};
    if (instruction == low_mask(instruction_bits_)) {
        return bypass;
    }
    if (const auto found = by_instruction_.find(instruction); found != by_instruction_.end()) {
        return found->second;
    }
    const auto pattern = std::ranges::find_if(
        patterns_, [=](const Pattern& one) { return (instruction & one.mask) == one.value; });
    return pattern != patterns_.end() ? pattern->selection : bypass;
}

void TapDevice::add_rows(const RowsDescription& description) {
    const auto rows = std::make_shared<RowArray>(description);
    for (SelectedRegister& each : registers_of(description, rows)) {
        by_instruction_[each.instruction] = {each.cells.get()};
        registers_.push_back(std::move(each.cells));
    }
    erased_by_[description.erase] = rows;
}

void TapDevice::set_instruction(uint64_t instruction) {
    instruction_ = instruction;
    const Selection selection = selection_of(instruction);
    selected_ = selection.cells;
    if (boundary_ != nullptr) {
        boundary_->set_mode(selection.mode);
    }
    if (const auto rows = erased_by_.find(instruction); rows != erased_by_.end()) {
        rows->second->erase();
    }
}

void TapDevice::reset() {
    set_instruction(reset_instruction_);
    if (boundary_ != nullptr) {
        boundary_->reset();
    }
}

void TapDevice::power_on() {
    for (const auto& each : registers_) {
        each->power_on();
    }
    reset();
}

uint64_t TapDevice::longest() const {
    uint64_t bits = 0;
    for (const auto& each : registers_) {
        bits = std::max(bits, each->bits());
    }
    return bits;
}

} // namespace talvor::podsim
