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
    if (description.idcode) {
        reset_instruction_ = description.idcode_instruction;
        registers_.push_back(
            std::make_unique<ConstantCells>(ConstantRegister{kIdcodeBits, {*description.idcode}}));
        by_instruction_[reset_instruction_] = registers_.back().get();
    }
    for (const RegisterDescription& each : description.registers) {
        registers_.push_back(make_register(each));
        DataRegister* made = registers_.back().get();
        if (const auto* boundary = std::get_if<BoundaryRegister>(&each.kind)) {
            boundary_ = static_cast<BoundaryCells*>(made);
            extest_ = boundary->extest;
            by_instruction_[boundary->extest] = made;
            by_instruction_[boundary->sample] = made;
            continue;
        }
        for (const uint64_t instruction : each.instructions) {
            by_instruction_[instruction] = made;
        }
    }
    for (const RowsDescription& each : description.rows) {
        add_rows(each);
    }
    reset();
}

void TapDevice::add_rows(const RowsDescription& description) {
    const auto rows = std::make_shared<RowArray>(description);
    for (SelectedRegister& each : registers_of(description, rows)) {
        by_instruction_[each.instruction] = each.cells.get();
        registers_.push_back(std::move(each.cells));
    }
    erased_by_[description.erase] = rows;
}

void TapDevice::set_instruction(uint64_t instruction) {
    instruction_ = instruction;
    const auto found = by_instruction_.find(instruction);
    selected_ = found != by_instruction_.end() ? found->second : registers_.front().get();
    if (boundary_ != nullptr) {
        boundary_->set_extest(instruction == extest_);
    }
    if (const auto rows = erased_by_.find(instruction); rows != erased_by_.end()) {
        rows->second->erase();
    }
}

void TapDevice::reset() {
    set_instruction(reset_instruction_);
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
