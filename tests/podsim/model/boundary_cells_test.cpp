#include "board_fixture.h"

#include <gtest/gtest.h>

namespace talvor::podsim::board {
namespace {

// IN, OUT, TRI and IO with its control cell; from TDO: 0 IN, 1 OUT, 2 TRI, 3 control of TRI,
// 4 IO, 5 control of IO, 6 internal, 7 IN again, which only observes.
DeviceMaker all_cells() {
    DeviceMaker maker;
    const size_t in = maker.pin("IN", PortMode::In);
    const size_t out = maker.pin("OUT", PortMode::Out);
    const size_t tri = maker.pin("TRI", PortMode::Out);
    const size_t io = maker.pin("IO", PortMode::InOut);
    maker.cell("BC_1", CellFunction::Input, in);
    maker.cell("BC_2", CellFunction::Output2, out);
    maker.driver("BC_9", CellFunction::Output3, tri, 3, '1');
    maker.cell("BC_2", CellFunction::Control);
    maker.driver("BC_7", CellFunction::Bidir, io, 5, '0');
    maker.cell("BC_2", CellFunction::ControlR);
    maker.cell("BC_1", CellFunction::Internal);
    maker.cell("BC_4", CellFunction::ObserveOnly, in);
    return maker;
}
constexpr unsigned kCells = 8;
constexpr uint64_t kIn = 1;
constexpr uint64_t kOut = 2;
constexpr uint64_t kTri = 4;
constexpr uint64_t kTriOff = 8; // a one disables
constexpr uint64_t kIo = 16;
constexpr uint64_t kIoOn = 32; // a zero disables
constexpr uint64_t kInternal = 64;
constexpr uint64_t kObserved = 128;
constexpr uint64_t kFloating = kIn | kObserved; // nothing drives IN, which reads 1

TEST(BoundaryCellsTest, SampleShowsWhatTheDevicesOwnLogicDoes) {
    Host host(chain_of({all_cells().described("u")}));
    host.instruction(kSample);
    // OUT is low and drives, TRI and IO are off: IO floats.
    EXPECT_EQ(host.data(0xFF, kCells), kFloating | kTriOff | kIo);
    ASSERT_TRUE(host.chain.set_core("u.OUT", Core::High));
    ASSERT_TRUE(host.chain.set_core("u.TRI", Core::High));
    ASSERT_TRUE(host.chain.set_core("u.IO", Core::Low));
    EXPECT_EQ(host.data(0, kCells), kFloating | kOut | kTri | kIoOn);
    EXPECT_TRUE(host.level("u.TRI"));
    EXPECT_FALSE(host.level("u.IO"));
    // What was shifted in has driven nothing; the supply brings back what was described.
    ASSERT_TRUE(host.chain.power_on());
    host.instruction(kSample);
    EXPECT_EQ(host.data(0, kCells), kFloating | kTriOff | kIo);
}

TEST(BoundaryCellsTest, ExtestDrivesWhatWasPreloaded) {
    Host host(chain_of({all_cells().described("u")}));
    host.preload(kOut | kTri | kIoOn, kCells);
    EXPECT_FALSE(host.level("u.OUT")); // not yet
    host.instruction(kExtest);
    EXPECT_TRUE(host.level("u.OUT"));
    EXPECT_TRUE(host.level("u.TRI"));
    EXPECT_FALSE(host.level("u.IO"));
    // OUT and the control cells capture what they hold, TRI and IO their pins, and the internal
    // cell what the device's logic gives it.
    EXPECT_EQ(host.data(kInternal | kTriOff, kCells), kFloating | kOut | kTri | kIoOn);
    // Now TRI and IO are off and float.
    EXPECT_FALSE(host.level("u.OUT"));
    EXPECT_TRUE(host.level("u.TRI"));
    EXPECT_TRUE(host.level("u.IO"));
    EXPECT_EQ(host.data(0, kCells), kFloating | kTri | kTriOff | kIo);
}

TEST(BoundaryCellsTest, IntestCapturesTheDevicesLogicAtOutputs) {
    Host host(chain_of({all_cells().described("u")}));
    ASSERT_TRUE(host.chain.set_core("u.OUT", Core::High));
    ASSERT_TRUE(host.chain.set_core("u.IO", Core::High));
    host.preload(kIoOn | kTriOff, kCells);
    host.instruction(kIntest);
    // The cells drive the pins, and OUT, TRI and IO capture what stands behind them.
    EXPECT_FALSE(host.level("u.OUT"));
    EXPECT_FALSE(host.level("u.IO"));
    EXPECT_EQ(host.data(0, kCells), kFloating | kOut | kTriOff | kIo | kIoOn);
}

TEST(BoundaryCellsTest, ClampDrivesAndHighzDoesNotAndBothBypass) {
    Host host(chain_of({all_cells().described("u")}));
    host.preload(kOut | kTri | kIo | kIoOn, kCells);
    host.instruction(kClamp);
    EXPECT_TRUE(host.level("u.OUT"));
    EXPECT_EQ(host.data(0b1011, 4), 0b0110U);
    host.preload(0, kCells); // OUT and TRI low
    host.instruction(kExtest);
    EXPECT_FALSE(host.level("u.OUT"));
    EXPECT_FALSE(host.level("u.TRI"));
    host.instruction(kHighz);
    EXPECT_TRUE(host.level("u.OUT"));
    EXPECT_TRUE(host.level("u.TRI"));
    EXPECT_EQ(host.data(0b1011, 4), 0b0110U);
}

TEST(BoundaryCellsTest, AResetGivesThePinsBackAndDisablesByControlR) {
    Host host(chain_of({all_cells().described("u")}));
    host.preload(kOut | kTri | kIoOn, kCells);
    host.instruction(kExtest);
    EXPECT_FALSE(host.level("u.IO"));
    host.reset();
    EXPECT_FALSE(host.level("u.OUT"));
    // EXTEST without a preload: OUT and TRI as before the reset, IO is off.
    host.instruction(kExtest);
    EXPECT_TRUE(host.level("u.OUT"));
    EXPECT_TRUE(host.level("u.TRI"));
    EXPECT_TRUE(host.level("u.IO"));
    EXPECT_EQ(host.data(0, kCells) & kIoOn, 0U);
}

// One cell drives an open collector, and is its own control cell.
TEST(BoundaryCellsTest, AnOpenCollectorPullsLowOnly) {
    DeviceMaker maker;
    const size_t pin = maker.pin("OC", PortMode::Out);
    maker.driver("BC_9", CellFunction::Output2, pin, 0, '1', DisableResult::Weak1);
    ChainDescription chain = chain_of({maker.described("u")});
    chain.board.nets.push_back(net("N", {{0, 0}}));
    chain.board.nets[0].pull = false;
    Host host(chain);
    host.preload(1, 1);
    host.instruction(kExtest);
    EXPECT_FALSE(host.level("u.OC")); // the resistor wins
    ASSERT_TRUE(host.chain.set_drive("N", true));
    EXPECT_TRUE(host.level("u.OC"));
    host.data(0, 1);
    EXPECT_EQ(host.chain.board().net_state(0).contention, true);
    ASSERT_TRUE(host.chain.set_drive("N", std::nullopt));
    host.reset();
    ASSERT_TRUE(host.chain.set_core("u.OC", Core::Low));
    EXPECT_EQ(host.chain.board().net_state(0).drive.strength, Strength::Strong);
    ASSERT_TRUE(host.chain.set_core("u.OC", Core::High));
    EXPECT_EQ(host.chain.board().net_state(0).drive.strength, Strength::Pull);
}

TEST(BoundaryCellsTest, EachDisableResultShowsAtAPinAlone) {
    const struct {
        DisableResult result;
        bool after_low; // the level after a low one was driven
        bool after_high;
    } cases[] = {{DisableResult::Z, true, true},       {DisableResult::Weak0, false, false},
                 {DisableResult::Weak1, true, true},   {DisableResult::Pull0, false, false},
                 {DisableResult::Pull1, true, true},   {DisableResult::Keeper, false, true},
                 {DisableResult::Open0, false, false}, {DisableResult::Open1, true, true},
                 {DisableResult::OpenX, true, true}};
    for (const auto& one : cases) {
        DeviceMaker maker;
        const size_t pin = maker.pin("T", PortMode::Out);
        maker.driver("BC_9", CellFunction::Output3, pin, 1, '0', one.result);
        maker.cell("BC_1", CellFunction::Control);
        Host host(chain_of({maker.described("u")}));
        for (const bool high : {false, true}) {
            host.preload(2U | (high ? 1U : 0U), 2);
            host.instruction(kExtest);
            EXPECT_EQ(host.level("u.T"), high);
            host.data(0, 2);
            EXPECT_EQ(host.level("u.T"), high ? one.after_high : one.after_low)
                << static_cast<int>(one.result);
        }
    }
}

TEST(BoundaryCellsTest, AnInputSaysItselfWhatItReadsOpen) {
    DeviceMaker maker;
    maker.cell("BC_1", CellFunction::Input, maker.pin("A", PortMode::In));
    maker.device().cells.back().open_result = DisableResult::Open0;
    maker.cell("BC_1", CellFunction::Input, maker.pin("B", PortMode::In));
    Host host(chain_of({maker.described("u")}));
    host.instruction(kSample);
    EXPECT_EQ(host.data(0, 2), 0b10U);
}

// An input and an output share a cell: it captures the input, and drives the output.
TEST(BoundaryCellsTest, AMergedCellCapturesItsInputAndDrivesItsOutput) {
    for (const bool input_first : {true, false}) {
        DeviceMaker maker;
        const size_t in = maker.pin("IN", PortMode::In);
        const size_t out = maker.pin("OUT", PortMode::Out);
        maker.cell("BC_1", input_first ? CellFunction::Input : CellFunction::Output2,
                   input_first ? in : out);
        maker.cell("BC_1", input_first ? CellFunction::Output2 : CellFunction::Input,
                   input_first ? out : in);
        maker.device().cells.back().number = 0;
        maker.device().boundary_bits = 1;
        ChainDescription chain = chain_of({maker.described("u")});
        chain.board.nets.push_back(net("N", {{0, in}}));
        chain.board.nets[0].drive = false;
        Host host(chain);
        host.preload(1, 1);
        host.instruction(kExtest);
        EXPECT_TRUE(host.level("u.OUT"));
        EXPECT_EQ(host.data(1, 1), 0U);
        ASSERT_TRUE(host.chain.set_drive("N", true));
        EXPECT_EQ(host.data(0, 1), 1U);
        EXPECT_FALSE(host.level("u.OUT"));
    }
}

TEST(BoundaryCellsTest, TheSecondPinOfAPairIsTheFirstInverted) {
    DeviceMaker maker;
    const size_t positive = maker.pin("P", PortMode::Out);
    const size_t negative = maker.pin("N", PortMode::Out);
    maker.cell("BC_1", CellFunction::Output2, positive);
    maker.device().pairs.push_back({positive, negative, false});
    Host host(chain_of({maker.described("u")}));
    for (const bool high : {true, false}) {
        host.preload(high ? 1 : 0, 1);
        host.instruction(kExtest);
        EXPECT_EQ(host.level("u.P"), high);
        EXPECT_EQ(host.level("u.N"), !high);
    }
}

TEST(BoundaryCellsTest, ManyCellsAreCapturedWordByWord) {
    constexpr size_t kPins = 200;
    DeviceMaker maker;
    for (size_t i = 0; i < kPins; ++i) {
        maker.cell("BC_9", CellFunction::Output2,
                   maker.pin("P" + std::to_string(i), PortMode::Out));
    }
    BoundaryCells cells(*boundary_of(maker.described("u")));
    std::vector<uint64_t> shifted(4, ~uint64_t{0});
    cells.set_mode(TestMode::Extest);
    cells.update(shifted);
    EXPECT_TRUE(cells.refresh());
    EXPECT_FALSE(cells.refresh());
    for (size_t i = 0; i < kPins; ++i) {
        EXPECT_TRUE(cells.drive(i).level);
        cells.set_level(i, i % 7 == 0);
    }
    cells.look();
    cells.capture(shifted);
    for (size_t i = 0; i < kPins; ++i) {
        EXPECT_EQ((shifted[i / 64] >> (i % 64)) & 1, i % 7 == 0 ? 1U : 0U) << i;
    }
    // The same once more changes nothing.
    cells.update(std::vector<uint64_t>(4, ~uint64_t{0}));
    EXPECT_FALSE(cells.refresh());
    cells.update(std::vector<uint64_t>(4, 0));
    EXPECT_TRUE(cells.refresh());
}

} // namespace
} // namespace talvor::podsim::board
