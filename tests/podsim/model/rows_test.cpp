#include "podsim/model/rows.h"
#include "podsim/model/tap_device.h"

#include <gtest/gtest.h>

#include <array>
#include <vector>

namespace talvor::podsim {
namespace {

constexpr uint64_t kAddress = 1;
constexpr uint64_t kProgram = 2;
constexpr uint64_t kVerify = 3;
constexpr uint64_t kErase = 4;
constexpr uint64_t kStatus = 5;

constexpr uint64_t kDone = 1;
constexpr uint64_t kBlank = 2;

// Three rows of 70 bits.
DeviceDescription description() {
    DeviceDescription device;
    device.name = "cpld";
    device.instruction_bits = 4;
    device.rows.push_back({"fuses", 2, 70, 3, kAddress, kProgram, kVerify, kErase, kStatus});
    return device;
}

class RowsTest : public testing::Test {
protected:
    using Row = std::array<uint64_t, 2>;
    static constexpr Row kBlankRow{~uint64_t{0}, 0x3F};

    Row capture(uint64_t instruction) {
        device.set_instruction(instruction);
        Row shifted{};
        device.selected().capture(shifted);
        shifted[1] &= device.selected().bits() > 64 ? 0x3F : 0;
        return shifted;
    }
    void update(uint64_t instruction, Row row) {
        device.set_instruction(instruction);
        device.selected().update(row);
    }
    Row read(uint64_t address) {
        update(kAddress, {address, 0});
        return capture(kVerify);
    }
    void program(uint64_t address, const Row& row) {
        update(kAddress, {address, 0});
        update(kProgram, row);
    }
    uint64_t status() { return capture(kStatus)[0] & 3U; }

    TapDevice device{description()};
};

TEST_F(RowsTest, AreReachedByTheirInstructions) {
    const auto bits = [this](uint64_t instruction) {
        device.set_instruction(instruction);
        return device.selected().bits();
    };
    EXPECT_EQ(bits(kAddress), 2U);
    EXPECT_EQ(bits(kProgram), 70U);
    EXPECT_EQ(bits(kVerify), 70U);
    EXPECT_EQ(bits(kStatus), 2U);
    EXPECT_EQ(bits(kErase), 1U) << "BYPASS";
    EXPECT_EQ(device.longest(), 70U);
}

TEST_F(RowsTest, AreBlankAtFirstAndKeepWhatIsProgrammed) {
    EXPECT_EQ(status(), kDone | kBlank);
    EXPECT_EQ(read(2), kBlankRow);
    const Row row{0x0123456789ABCDEF, 0x2A};
    program(2, row);
    EXPECT_EQ(read(2), row);
    EXPECT_EQ(read(1), kBlankRow);
    EXPECT_EQ(status(), kDone);
    EXPECT_EQ(capture(kAddress)[0], 1U);
    EXPECT_EQ(read(2), row) << "verifying changes nothing";
    update(kVerify, {0, 0});
    EXPECT_EQ(read(2), row);
}

TEST_F(RowsTest, AZeroOnlyBecomesAOneByErasing) {
    program(0, {0xF0, 0});
    program(0, {0x3C, 0});
    EXPECT_EQ(read(0), (Row{0x30, 0}));
    EXPECT_EQ(status(), 0U);
    program(1, kBlankRow);
    EXPECT_EQ(status(), 0U) << "until the rows are erased";
    device.set_instruction(kErase);
    EXPECT_EQ(status(), kDone | kBlank);
    for (uint64_t address = 0; address < 3; ++address) {
        EXPECT_EQ(read(address), kBlankRow);
    }
}

TEST_F(RowsTest, ProgrammingOnesLeavesThemBlank) {
    program(0, kBlankRow);
    EXPECT_EQ(status(), kDone | kBlank);
    program(0, {~uint64_t{0}, 0x1F}); // the last bit of the row
    EXPECT_EQ(status(), kDone);
}

TEST_F(RowsTest, PastTheLastOneThereIsNothing) {
    program(3, {0, 0});
    EXPECT_EQ(read(3), kBlankRow);
    EXPECT_EQ(status(), kBlank);
}

TEST_F(RowsTest, OutliveTheSupplyAndAReset) {
    program(1, {5, 0});
    device.reset();
    device.power_on();
    EXPECT_EQ(capture(kAddress)[0], 0U);
    EXPECT_EQ(read(1), (Row{5, 0}));
}

} // namespace
} // namespace talvor::podsim
