#include "podsim/model/chain.h"
#include "podsim/model/riscv_debug.h"

#include <gtest/gtest.h>

namespace talvor::podsim {
namespace {

constexpr uint32_t kMemory = 0x8000'0000;

// Registers, bits and commands, written out as the debug specification has them.
constexpr uint32_t kData0 = 0x04;
constexpr uint32_t kDmcontrol = 0x10;
constexpr uint32_t kDmstatus = 0x11;
constexpr uint32_t kAbstractcs = 0x16;
constexpr uint32_t kCommand = 0x17;
constexpr uint32_t kAbstractauto = 0x18;
constexpr uint32_t kSbcs = 0x38;
constexpr uint32_t kSbaddress0 = 0x39;
constexpr uint32_t kSbdata0 = 0x3C;
constexpr uint32_t kHaltsum0 = 0x40;

constexpr uint32_t kAlways = 0x0000'00A2; // version 0.13, authenticated, halt on reset
constexpr uint32_t kRunning = 0x0000'0C00;
constexpr uint32_t kHalted = 0x0000'0300;
constexpr uint32_t kUnavailable = 0x0000'3000;
constexpr uint32_t kNonexistent = 0x0000'C000;
constexpr uint32_t kResumed = 0x0003'0000;
constexpr uint32_t kHaveReset = 0x000C'0000;

constexpr uint32_t kRead32 = 0x0022'0000;
constexpr uint32_t kWrite32 = 0x0023'0000;
constexpr uint32_t kX0 = 0x1000;
constexpr uint32_t kDcsr = 0x7B0;
constexpr uint32_t kDpc = 0x7B1;

class RiscvDebugTest : public testing::Test {
protected:
    RiscvDebugTest() { debug.write(kDmcontrol, 1); }

    void halt() {
        debug.write(kDmcontrol, 0x8000'0001);
        debug.write(kDmcontrol, 0x1000'0001); // and the reset is acknowledged
    }
    // cmderr, cleared.
    uint32_t error() {
        const uint32_t found = debug.read(kAbstractcs) >> 8 & 7;
        debug.write(kAbstractcs, 0x700);
        return found;
    }
    uint32_t get(uint32_t number) {
        debug.write(kCommand, kRead32 | number);
        EXPECT_EQ(error(), 0U) << std::hex << number;
        return debug.read(kData0);
    }
    void set(uint32_t number, uint32_t value) {
        debug.write(kData0, value);
        debug.write(kCommand, kWrite32 | number);
        EXPECT_EQ(error(), 0U) << std::hex << number;
    }
    uint32_t error_of(uint32_t command) {
        debug.write(kCommand, command);
        return error();
    }
    void store(uint32_t address, uint32_t value) {
        debug.write(kSbcs, 0x0004'0000);
        debug.write(kSbaddress0, address);
        debug.write(kSbdata0, value);
    }
    // sberror, cleared.
    uint32_t bus_error() {
        const uint32_t sbcs = debug.read(kSbcs);
        debug.write(kSbcs, sbcs);
        return sbcs >> 12 & 7;
    }

    RiscvDebug debug{RiscvDescription{.memory_address = kMemory, .memory_bytes = 256}};
};

TEST_F(RiscvDebugTest, OnlyAnActiveModuleTakesWrites) {
    debug.write(kData0, 7);
    EXPECT_EQ(debug.read(kData0), 7U);
    debug.write(kDmcontrol, 0);
    EXPECT_EQ(debug.read(kDmcontrol), 0U);
    EXPECT_EQ(debug.read(kData0), 0U);
    debug.write(kData0, 7);
    EXPECT_EQ(debug.read(kData0), 0U);
    // The write that wakes it does nothing else.
    debug.write(kDmcontrol, 0x8000'0001);
    EXPECT_EQ(debug.read(kDmcontrol), 1U);
    EXPECT_FALSE(debug.halted());
}

TEST_F(RiscvDebugTest, ComesUpRunningAndHavingBeenReset) {
    EXPECT_EQ(debug.read(kDmstatus), kAlways | kRunning | kHaveReset);
    debug.write(kDmcontrol, 0x1000'0001);
    EXPECT_EQ(debug.read(kDmstatus), kAlways | kRunning);
    EXPECT_EQ(debug.read(kHaltsum0), 0U);
}

TEST_F(RiscvDebugTest, HaltsAndResumesOnRequest) {
    halt();
    EXPECT_EQ(debug.read(kDmstatus), kAlways | kHalted);
    EXPECT_EQ(debug.read(kHaltsum0), 1U);
    EXPECT_EQ(get(kDcsr), 0x4000'00C3U);  // cause 3: the debugger
    debug.write(kDmcontrol, 0xC000'0001); // a request to halt takes precedence
    EXPECT_EQ(debug.read(kDmstatus), kAlways | kHalted);
    debug.write(kDmcontrol, 0x4000'0001);
    EXPECT_EQ(debug.read(kDmstatus), kAlways | kRunning | kResumed);
    // One that runs already is not resumed.
    debug.write(kDmcontrol, 0x4000'0001);
    EXPECT_EQ(debug.read(kDmstatus), kAlways | kRunning);
}

TEST_F(RiscvDebugTest, ASingleStepHaltsBehindOneInstruction) {
    halt();
    store(kMemory + 8, 0x0000'0013); // a long instruction, and behind it a short one
    set(kDpc, kMemory + 8);
    set(kDcsr, 0x4000'00C7);
    debug.write(kDmcontrol, 0x4000'0001);
    EXPECT_EQ(debug.read(kDmstatus), kAlways | kHalted | kResumed);
    EXPECT_EQ(get(kDpc), kMemory + 12);
    EXPECT_EQ(get(kDcsr), 0x4000'0107U); // cause 4: the step
    debug.write(kDmcontrol, 0x4000'0001);
    EXPECT_EQ(get(kDpc), kMemory + 14);
    set(kDpc, 0x1000); // where there is no memory
    debug.write(kDmcontrol, 0x4000'0001);
    EXPECT_EQ(get(kDpc), 0x1002U);
}

TEST_F(RiscvDebugTest, AResumedHartHaltsAtTheFirstEbreakInItsWay) {
    halt();
    store(kMemory + 8, 0x9002'0013);  // a long instruction with a short EBREAK inside
    store(kMemory + 16, 0x9002'0000); // a short instruction, and a short EBREAK
    store(kMemory + 32, 0x0010'0073); // EBREAK
    set(kDpc, kMemory + 4);
    set(kDcsr, 0x8000); // ebreakm
    debug.write(kDmcontrol, 0x4000'0001);
    EXPECT_EQ(debug.read(kDmstatus), kAlways | kHalted | kResumed);
    EXPECT_EQ(get(kDpc), kMemory + 18);
    EXPECT_EQ(get(kDcsr), 0x4000'8043U); // cause 1
    set(kDpc, kMemory + 20);
    debug.write(kDmcontrol, 0x4000'0001);
    EXPECT_EQ(get(kDpc), kMemory + 32);
    // Without one, and where EBREAK is the program's own affair, it runs.
    set(kDpc, kMemory + 36);
    debug.write(kDmcontrol, 0x4000'0001);
    EXPECT_FALSE(debug.halted());
    halt();
    EXPECT_EQ(get(kDpc), kMemory + 36);
    set(kDpc, kMemory);
    set(kDcsr, 0);
    debug.write(kDmcontrol, 0x4000'0001);
    EXPECT_FALSE(debug.halted());
}

TEST_F(RiscvDebugTest, AHartThatIsNotThereIsNonexistent) {
    debug.write(kDmcontrol, 0x8001'0001);
    EXPECT_EQ(debug.read(kDmstatus), kAlways | kNonexistent);
    EXPECT_EQ(debug.read(kDmcontrol), 0x0001'0001U);
    EXPECT_EQ(error_of(kRead32 | kX0), 4U);
    debug.write(kDmcontrol, 0x03FF'FFC1);
    EXPECT_EQ(debug.read(kDmcontrol), 0x03FF'FFC1U);
    debug.write(kDmcontrol, 1);
    EXPECT_FALSE(debug.halted());
}

TEST_F(RiscvDebugTest, ResetsTheHart) {
    halt();
    set(kX0 + 5, 99);
    set(kDpc, kMemory + 64);
    debug.write(kDmcontrol, 3);
    EXPECT_EQ(debug.read(kDmstatus), kAlways | kUnavailable | kHaveReset);
    debug.write(kDmcontrol, 1);
    EXPECT_EQ(debug.read(kDmstatus), kAlways | kRunning | kHaveReset);
    halt();
    EXPECT_EQ(get(kX0 + 5), 0U);
    EXPECT_EQ(get(kDpc), kMemory);
}

TEST_F(RiscvDebugTest, HaltsOutOfResetWhereThatIsWanted) {
    debug.write(kDmcontrol, 0x9); // setresethaltreq
    debug.write(kDmcontrol, 3);
    debug.write(kDmcontrol, 1);
    EXPECT_TRUE(debug.halted());
    EXPECT_EQ(get(kDcsr), 0x4000'0143U); // cause 5
    debug.write(kDmcontrol, 0x5);        // clrresethaltreq
    debug.write(kDmcontrol, 3);
    debug.write(kDmcontrol, 1);
    EXPECT_FALSE(debug.halted());
    debug.write(kDmcontrol, 0x8000'0003);
    EXPECT_FALSE(debug.halted());
    debug.write(kDmcontrol, 0x8000'0001);
    EXPECT_EQ(get(kDcsr), 0x4000'00C3U);
}

TEST_F(RiscvDebugTest, GivesAndTakesRegistersWhileHalted) {
    EXPECT_EQ(error_of(kRead32 | kX0), 4U); // halt first
    halt();
    for (uint32_t i = 0; i < 32; ++i) {
        set(kX0 + i, 0x1000 + i);
    }
    for (uint32_t i = 0; i < 32; ++i) {
        EXPECT_EQ(get(kX0 + i), i == 0 ? 0 : 0x1000 + i);
    }
    set(0x340, 0xDEADBEEF); // mscratch
    EXPECT_EQ(get(0x340), 0xDEADBEEF);
    EXPECT_EQ(get(0x301), 0x4000'0104U); // misa: RV32IC
    set(0x301, 0);
    EXPECT_EQ(get(0x301), 0x4000'0104U);
    EXPECT_EQ(get(0xF14), 0U); // mhartid
    EXPECT_EQ(error_of(kWrite32 | 0xF14), 3U);
    EXPECT_EQ(error_of(kRead32 | 0xC22), 3U);  // a CSR that is not there
    EXPECT_EQ(error_of(kRead32 | 0x1020), 3U); // a floating-point register
    set(kDpc, kMemory + 1);
    EXPECT_EQ(get(kDpc), kMemory);
}

TEST_F(RiscvDebugTest, RefusesWhatItDoesNotDo) {
    halt();
    EXPECT_EQ(error_of(0x0032'0000 | kX0), 2U);           // 64 bits
    EXPECT_EQ(error_of(kRead32 | 0x0004'0000 | kX0), 2U); // the program buffer
    EXPECT_EQ(error_of(kRead32 | 0x0008'0000 | kX0), 2U); // the next register
    EXPECT_EQ(error_of(0x0222'0000), 2U);                 // memory by abstract command
    EXPECT_EQ(error_of(0x0000'0000), 0U);                 // nothing at all
}

TEST_F(RiscvDebugTest, AnErrorStandsUntilItIsCleared) {
    halt();
    debug.write(kCommand, kRead32 | 0xC22);
    debug.write(kData0, 5);
    debug.write(kCommand, kWrite32 | (kX0 + 1)); // does nothing
    EXPECT_EQ(debug.read(kAbstractcs), 0x301U);
    debug.write(kAbstractcs, 0x100);
    EXPECT_EQ(debug.read(kAbstractcs), 0x201U);
    debug.write(kAbstractcs, 0x700);
    EXPECT_EQ(debug.read(kAbstractcs), 0x001U);
    EXPECT_EQ(get(kX0 + 1), 0U);
}

TEST_F(RiscvDebugTest, AnAccessOfDataRunsTheCommandAgain) {
    halt();
    set(kX0 + 1, 11);
    debug.write(kCommand, kWrite32 | (kX0 + 2));
    debug.write(kAbstractauto, 1);
    EXPECT_EQ(debug.read(kAbstractauto), 1U);
    debug.write(kData0, 77);
    debug.write(kAbstractauto, 0);
    EXPECT_EQ(get(kX0 + 2), 77U);
}

TEST_F(RiscvDebugTest, SaysWhatItsBusCanDo) {
    // Version 1, 32 bits of address, accesses of 8, 16 and 32 bits; 32 of them at first.
    EXPECT_EQ(debug.read(kSbcs), 0x2004'0407U);
}

TEST_F(RiscvDebugTest, ReadsAndWritesMemoryWhetherTheHartRunsOrNot) {
    for (const bool halted : {false, true}) {
        if (halted) {
            halt();
        }
        debug.write(kSbcs, 0x0005'0000); // 32 bits, counting up
        debug.write(kSbaddress0, kMemory + 16);
        debug.write(kSbdata0, 0x1122'3344);
        debug.write(kSbdata0, 0x5566'7788);
        EXPECT_EQ(debug.read(kSbaddress0), kMemory + 24);
        debug.write(kSbcs, 0x0015'8000); // and reading on an address, and on data
        debug.write(kSbaddress0, kMemory + 16);
        EXPECT_EQ(debug.read(kSbdata0), 0x1122'3344U);
        EXPECT_EQ(debug.read(kSbdata0), 0x5566'7788U);
        EXPECT_EQ(debug.read(kSbaddress0), kMemory + 28);
        EXPECT_EQ(bus_error(), 0U);
    }
}

TEST_F(RiscvDebugTest, AccessesBytesAndHalves) {
    debug.write(kSbcs, 0x0001'0000); // 8 bits
    debug.write(kSbaddress0, kMemory + 1);
    debug.write(kSbdata0, 0xFFFF'FFAB);
    debug.write(kSbcs, 0x0003'0000); // 16 bits
    debug.write(kSbaddress0, kMemory + 2);
    debug.write(kSbdata0, 0xFFFF'CDEF);
    debug.write(kSbcs, 0x0014'0000); // 32 bits, reading on an address
    debug.write(kSbaddress0, kMemory);
    EXPECT_EQ(debug.read(kSbdata0), 0xCDEF'AB00U);
    debug.write(kSbcs, 0x0012'0000); // 16 bits
    debug.write(kSbaddress0, kMemory + 2);
    EXPECT_EQ(debug.read(kSbdata0), 0xCDEFU);
}

TEST_F(RiscvDebugTest, AnAccessThatCannotBeIsAnErrorThatStands) {
    debug.write(kSbcs, 0x0014'0000);
    debug.write(kSbaddress0, kMemory - 4);
    EXPECT_EQ(bus_error(), 2U);
    debug.write(kSbaddress0, kMemory + 256);
    EXPECT_EQ(bus_error(), 2U);
    debug.write(kSbaddress0, kMemory + 252);
    EXPECT_EQ(bus_error(), 0U);
    debug.write(kSbaddress0, kMemory + 2);
    EXPECT_EQ(bus_error(), 3U);
    debug.write(kSbcs, 0x0016'0000); // 64 bits
    debug.write(kSbaddress0, kMemory);
    EXPECT_EQ(debug.read(kSbcs) >> 12 & 7, 4U);
    // Nothing is written while an error stands.
    debug.write(kSbcs, 0x0004'0000);
    debug.write(kSbdata0, 0xFFFF'FFFF);
    debug.write(kSbcs, 0x0014'7000);
    debug.write(kSbaddress0, kMemory);
    EXPECT_EQ(debug.read(kSbdata0), 0U);
}

TEST_F(RiscvDebugTest, IsAsAtFirstWhenThePowerComesBack) {
    halt();
    set(kX0 + 3, 3);
    debug.write(kSbaddress0, kMemory);
    debug.write(kSbdata0, 0x1234);
    debug.power_on();
    EXPECT_EQ(debug.read(kDmcontrol), 0U);
    debug.write(kDmcontrol, 1);
    EXPECT_EQ(debug.read(kDmstatus), kAlways | kRunning | kHaveReset);
    halt();
    EXPECT_EQ(get(kX0 + 3), 0U);
    debug.write(kSbcs, 0x0014'0000);
    debug.write(kSbaddress0, kMemory);
    EXPECT_EQ(debug.read(kSbdata0), 0U);
}

TEST_F(RiscvDebugTest, WhatIsNotThereReadsZero) {
    for (const uint32_t address : {0x05U, 0x12U, 0x13U, 0x1DU, 0x20U, 0x30U, 0x3AU, 0x3DU, 0x7FU}) {
        debug.write(address, 0xFFFF'FFFF);
        EXPECT_EQ(debug.read(address), 0U) << address;
    }
}

// ---- through the TAP --------------------------------------------------------------------------

// Instruction 0x11 selects the debug module interface of a TAP with five bits of instruction.
class RiscvTapTest : public testing::Test {
protected:
    static Chain make() {
        DeviceDescription device;
        device.name = "hart";
        device.instruction_bits = 5;
        device.registers.push_back({"dmi", {0x11}, RiscvDescription{}});
        return Chain({{device}, {}});
    }
    uint64_t scan(TapState shift_state, uint64_t bits, unsigned count) {
        go(shift_state);
        uint64_t out = 0;
        EXPECT_TRUE(chain.shift({&bits, 1}, {&out, 1}, count, true));
        go(TapState::RunTestIdle);
        return out & low_mask(count);
    }
    void go(TapState to) {
        const TmsPath path = shortest_path(chain.state(), to);
        EXPECT_TRUE(chain.move(path.tms, path.count, true));
    }
    // Address, data, operation: 1 reads, 2 writes.
    uint64_t dmi(uint64_t address, uint64_t data, uint64_t operation) {
        return scan(TapState::ShiftDr, address << 34 | data << 2 | operation, 41);
    }

    Chain chain = make();
};

TEST_F(RiscvTapTest, AnAccessShowsInTheNextScan) {
    scan(TapState::ShiftIr, 0x11, 5);
    EXPECT_EQ(dmi(kDmcontrol, 1, 2), 0U);
    EXPECT_EQ(dmi(kDmstatus, 0, 1), uint64_t{kDmcontrol} << 34 | 1 << 2);
    const uint64_t status = uint64_t{kDmstatus} << 34 | uint64_t{kAlways | kRunning | kHaveReset}
                                                            << 2;
    EXPECT_EQ(dmi(0, 0, 0), status);
    EXPECT_EQ(dmi(kDmcontrol, 0, 3), status); // neither nothing nor the reserved operation counts
    EXPECT_EQ(dmi(0, 0, 0), status);
}

TEST_F(RiscvTapTest, AReadHappensAtTheUpdateAndOnce) {
    scan(TapState::ShiftIr, 0x11, 5);
    dmi(kDmcontrol, 1, 2);
    dmi(kSbcs, 0x0015'8000, 2);
    dmi(kSbaddress0, kMemory, 2);
    dmi(kSbdata0, 0, 1);
    dmi(0, 0, 0);
    dmi(0, 0, 0);
    dmi(kSbaddress0, 0, 1);
    EXPECT_EQ(dmi(0, 0, 0) >> 2 & 0xFFFF'FFFF, kMemory + 8);
}

} // namespace
} // namespace talvor::podsim
