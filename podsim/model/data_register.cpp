#include "podsim/model/data_register.h"

#include "podsim/model/bits.h"

#include <algorithm>

namespace talvor::podsim {
namespace {

std::vector<uint64_t> sized(std::vector<uint64_t> value, uint64_t bits) {
    value.resize(words_for(bits));
    return value;
}

} // namespace

ConstantCells::ConstantCells(const ConstantRegister& description)
    : bits_(description.bits), initial_(sized(description.value, description.bits)),
      value_(initial_) {}

void ConstantCells::capture(std::span<uint64_t> shifted) {
    std::ranges::copy(value_, shifted.begin());
}

bool ConstantCells::set_value(std::span<const uint64_t> value) {
    std::ranges::copy(value, value_.begin());
    return true;
}

ScratchCells::ScratchCells(const ScratchRegister& description)
    : bits_(description.bits), initial_(sized(description.value, description.bits)),
      value_(initial_) {}

void ScratchCells::capture(std::span<uint64_t> shifted) {
    std::ranges::copy(value_, shifted.begin());
}

void ScratchCells::update(std::span<const uint64_t> shifted) {
    std::ranges::copy(shifted, value_.begin());
}

bool ScratchCells::set_value(std::span<const uint64_t> value) {
    update(value);
    return true;
}

void CounterCells::capture(std::span<uint64_t> shifted) {
    std::ranges::fill(shifted, 0);
    shifted[0] = updates_;
}

MemoryCells::MemoryCells(const MemoryRegister& description)
    : address_bits_(description.address_bits), data_bits_(description.data_bits),
      ram_(description.words) {}

uint64_t MemoryCells::bits() const {
    return uint64_t{kMemoryOperationBits} + data_bits_ + address_bits_;
}

void MemoryCells::capture(std::span<uint64_t> shifted) {
    put_bits(shifted, 0, kMemoryOperationBits, static_cast<uint64_t>(answer_));
    put_bits(shifted, kMemoryOperationBits, data_bits_, data_);
    put_bits(shifted, kMemoryOperationBits + data_bits_, address_bits_, address_);
}

void MemoryCells::update(std::span<const uint64_t> shifted) {
    const auto operation = static_cast<MemoryOperation>(get_bits(shifted, 0, kMemoryOperationBits));
    if (operation == MemoryOperation::None) {
        return;
    }
    address_ = get_bits(shifted, kMemoryOperationBits + data_bits_, address_bits_);
    if (operation == MemoryOperation::Refused || address_ >= ram_.size()) {
        answer_ = MemoryOperation::Refused;
        return;
    }
    answer_ = MemoryOperation::None;
    if (operation == MemoryOperation::Write) {
        ram_[address_] = get_bits(shifted, kMemoryOperationBits, data_bits_);
    }
    data_ = ram_[address_];
}

void MemoryCells::power_on() {
    std::ranges::fill(ram_, 0);
    answer_ = MemoryOperation::None;
    data_ = 0;
    address_ = 0;
}

uint64_t RiscvCells::bits() const {
    return register_bits({.name = {}, .instructions = {}, .kind = RiscvDescription{}});
}

void RiscvCells::capture(std::span<uint64_t> shifted) {
    put_bits(shifted, 0, kRiscvOperationBits, 0);
    put_bits(shifted, kRiscvOperationBits, kRiscvDataBits, data_);
    put_bits(shifted, kRiscvOperationBits + kRiscvDataBits, kRiscvAddressBits, address_);
}

void RiscvCells::update(std::span<const uint64_t> shifted) {
    constexpr uint64_t kRead = 1;
    constexpr uint64_t kWrite = 2;
    const uint64_t operation = get_bits(shifted, 0, kRiscvOperationBits);
    if (operation != kRead && operation != kWrite) {
        return;
    }
    address_ = static_cast<uint32_t>(
        get_bits(shifted, kRiscvOperationBits + kRiscvDataBits, kRiscvAddressBits));
    if (operation == kRead) {
        data_ = module_.read(address_);
    } else {
        data_ = static_cast<uint32_t>(get_bits(shifted, kRiscvOperationBits, kRiscvDataBits));
        module_.write(address_, data_);
    }
}

void RiscvCells::power_on() {
    module_.power_on();
    address_ = 0;
    data_ = 0;
}

std::unique_ptr<DataRegister> make_register(const RegisterDescription& description) {
    struct Maker {
        std::unique_ptr<DataRegister> operator()(const ConstantRegister& d) const {
            return std::make_unique<ConstantCells>(d);
        }
        std::unique_ptr<DataRegister> operator()(const ScratchRegister& d) const {
            return std::make_unique<ScratchCells>(d);
        }
        std::unique_ptr<DataRegister> operator()(const CounterRegister& d) const {
            return std::make_unique<CounterCells>(d);
        }
        std::unique_ptr<DataRegister> operator()(const MemoryRegister& d) const {
            return std::make_unique<MemoryCells>(d);
        }
        std::unique_ptr<DataRegister> operator()(const BoundaryRegister&) const { return nullptr; }
        std::unique_ptr<DataRegister> operator()(const RiscvDescription& d) const {
            return std::make_unique<RiscvCells>(d);
        }
    };
    return std::visit(Maker{}, description.kind);
}

} // namespace talvor::podsim
