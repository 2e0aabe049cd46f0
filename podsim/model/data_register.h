// The data registers of a built-in TAP: what each captures and what an update does to it. The bits
// in between stand in the chain, not here.
#pragma once

#include "podsim/model/chain_description.h"
#include "podsim/model/riscv_debug.h"

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

namespace talvor::podsim {

class DataRegister {
public:
    virtual ~DataRegister() = default;

    // Length in bits, at least 1; never changes.
    virtual uint64_t bits() const = 0;
    // Capture-DR: the parallel input into `shifted`, which holds (bits() + 63) / 64 words. Bits
    // past the end are ignored.
    virtual void capture(std::span<uint64_t> shifted) = 0;
    // Update-DR: `shifted`, of the same size, bits past the end 0, to the parallel output.
    virtual void update(std::span<const uint64_t> shifted) = 0;
    // The device's supply has come back.
    virtual void power_on() {}
    // The operator's side: what the next capture gives, in the form of update(), until something
    // else changes it or the supply comes back. False: that cannot be said of this register.
    [[nodiscard]] virtual bool set_value(std::span<const uint64_t> /*value*/) { return false; }
};

// The single bit between TDI and TDO; captures 0 (IEEE 1149.1, 10.1).
class BypassCell : public DataRegister {
public:
    uint64_t bits() const override { return 1; }
    void capture(std::span<uint64_t> shifted) override { shifted[0] = 0; }
    void update(std::span<const uint64_t>) override {}
};

class ConstantCells : public DataRegister {
public:
    explicit ConstantCells(const ConstantRegister& description);
    uint64_t bits() const override { return bits_; }
    void capture(std::span<uint64_t> shifted) override;
    void update(std::span<const uint64_t>) override {}
    void power_on() override { value_ = initial_; }
    [[nodiscard]] bool set_value(std::span<const uint64_t> value) override;

private:
    uint64_t bits_;
    std::vector<uint64_t> initial_;
    std::vector<uint64_t> value_;
};

class ScratchCells : public DataRegister {
public:
    explicit ScratchCells(const ScratchRegister& description);
    uint64_t bits() const override { return bits_; }
    void capture(std::span<uint64_t> shifted) override;
    void update(std::span<const uint64_t> shifted) override;
    void power_on() override { value_ = initial_; }
    [[nodiscard]] bool set_value(std::span<const uint64_t> value) override;

private:
    uint64_t bits_;
    std::vector<uint64_t> initial_;
    std::vector<uint64_t> value_;
};

class CounterCells : public DataRegister {
public:
    explicit CounterCells(const CounterRegister& description) : bits_(description.bits) {}
    uint64_t bits() const override { return bits_; }
    void capture(std::span<uint64_t> shifted) override;
    void update(std::span<const uint64_t>) override { ++updates_; }
    void power_on() override { updates_ = 0; }
    [[nodiscard]] bool set_value(std::span<const uint64_t> value) override {
        updates_ = value[0];
        return true;
    }

private:
    uint64_t bits_;
    uint64_t updates_ = 0;
};

// What the operation field of a memory register asks for, and what it captures.
enum class MemoryOperation : uint8_t {
    None = 0,    // captured: the last operation was carried out
    Read = 1,    // the addressed word shows in the data field of the next capture
    Write = 2,   // the data field goes to the addressed word
    Refused = 3, // captured: the last operation was not known or its address past the RAM
};
class MemoryCells : public DataRegister {
public:
    explicit MemoryCells(const MemoryRegister& description);
    uint64_t bits() const override;
    void capture(std::span<uint64_t> shifted) override;
    void update(std::span<const uint64_t> shifted) override;
    void power_on() override;

private:
    unsigned address_bits_;
    unsigned data_bits_;
    std::vector<uint64_t> ram_;
    MemoryOperation answer_ = MemoryOperation::None;
    uint64_t data_ = 0;
    uint64_t address_ = 0;
};

// The debug module interface of a RISC-V debug transport module (version 0.13 of the debug
// specification, 6.1.5). An access is carried out at the update, and shows in the next capture;
// none fails, none is busy.
class RiscvCells : public DataRegister {
public:
    explicit RiscvCells(const RiscvDescription& description) : module_(description) {}
    uint64_t bits() const override;
    void capture(std::span<uint64_t> shifted) override;
    void update(std::span<const uint64_t> shifted) override;
    void power_on() override;

private:
    RiscvDebug module_;
    uint32_t address_ = 0;
    uint32_t data_ = 0;
};

// The register that a description stands for, which must be free of errors. Null for a boundary
// register, which the device makes of its pins.
std::unique_ptr<DataRegister> make_register(const RegisterDescription& description);

} // namespace talvor::podsim
