// What a log makes of edges.
#include "bare_port.h"
#include "host/serve/edge_log.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string_view>
#include <vector>

namespace talvor {
namespace {

using Kind = ClientAct::Kind;

class EdgeLogTest : public testing::Test {
protected:
    // Levels of TMS in the order of time, as in "01 0".
    static Bits levels(std::string_view text) {
        Bits bits;
        for (const char c : text) {
            if (c != ' ') {
                bits.append(Bits(1, c == '1'));
            }
        }
        return bits;
    }
    void move(std::string_view tms) {
        const Bits bits = levels(tms);
        ASSERT_TRUE(log_.clock(bits, Bits(bits.size()), nullptr, nullptr));
    }
    // Asks for all bits.
    Bits scan(std::string_view tms, const Bits& tdi) {
        Bits tdo;
        EXPECT_TRUE(log_.clock(levels(tms), tdi, &tdo, nullptr));
        return tdo;
    }

    BarePort port_{two_devices()};
    std::vector<ClientAct> acts_;
    EdgeLog log_{port_, [this](const ClientAct& act) { acts_.push_back(act); }};
};

TEST_F(EdgeLogTest, TellsAScanWithWhatWentInAndCameOut) {
    move("0100");
    const Bits tdo = scan("0000 0001", Bits::from_uint(0xA5, 8));
    move("10");
    ASSERT_EQ(acts_.size(), 1u);
    EXPECT_EQ(acts_[0].kind, Kind::Scan);
    EXPECT_EQ(acts_[0].path, ScanPath::Dr);
    EXPECT_EQ(acts_[0].count, 8u);
    EXPECT_EQ(acts_[0].out, Bits::from_uint(0xA5, 8));
    EXPECT_EQ(acts_[0].in, tdo);
    EXPECT_TRUE(acts_[0].answered);
    EXPECT_FALSE(acts_[0].resumed);
    EXPECT_EQ(acts_[0].end, TapState::UpdateDr);
}

TEST_F(EdgeLogTest, TellsAnInstructionThatNobodyReads) {
    move("01100 00000001 1");
    ASSERT_EQ(acts_.size(), 1u);
    EXPECT_EQ(acts_[0].path, ScanPath::Ir);
    EXPECT_EQ(acts_[0].count, 8u);
    EXPECT_FALSE(acts_[0].answered);
    EXPECT_EQ(acts_[0].end, TapState::UpdateIr);
}

TEST_F(EdgeLogTest, TellsAPauseAndWhatGoesOnFromIt) {
    move("0100 0001 00");
    move("10 001 1");
    ASSERT_EQ(acts_.size(), 2u);
    EXPECT_EQ(acts_[0].count, 4u);
    EXPECT_EQ(acts_[0].end, TapState::PauseDr);
    EXPECT_EQ(acts_[1].count, 3u);
    EXPECT_TRUE(acts_[1].resumed);
    EXPECT_EQ(acts_[1].end, TapState::UpdateDr);
}

TEST_F(EdgeLogTest, TellsACaptureWithoutBitsButNoWayOutOfAPause) {
    move("0101 1");
    ASSERT_EQ(acts_.size(), 1u);
    EXPECT_EQ(acts_[0].count, 0u);
    EXPECT_FALSE(acts_[0].answered);
    move("0 1010 11 0");
    ASSERT_EQ(acts_.size(), 2u) << "the pause, and no scan from Exit2 to Update";
    EXPECT_EQ(acts_[1].end, TapState::PauseDr);
}

TEST_F(EdgeLogTest, CountsIdleClocksBehindTheFirst) {
    move("0 00000 1");
    ASSERT_EQ(acts_.size(), 1u);
    EXPECT_EQ(acts_[0].kind, Kind::Idle);
    EXPECT_EQ(acts_[0].count, 5u);
    move("0101 10 1");
    EXPECT_EQ(acts_.size(), 2u) << "one clock is the move";
}

TEST_F(EdgeLogTest, TellsAResetOnceAndEachResetLine) {
    move("0 11111111");
    ASSERT_EQ(acts_.size(), 1u);
    EXPECT_EQ(acts_[0].kind, Kind::Reset);
    ASSERT_TRUE(log_.set_trst(true));
    move("0100 0001");
    ASSERT_TRUE(log_.set_trst(false));
    ASSERT_TRUE(log_.set_srst(true));
    ASSERT_EQ(acts_.size(), 4u) << "nothing is clocked while TRST holds";
    EXPECT_EQ(acts_[1].kind, Kind::Trst);
    EXPECT_TRUE(acts_[1].asserted);
    EXPECT_FALSE(acts_[2].asserted);
    EXPECT_EQ(acts_[3].kind, Kind::Srst);
    move("0 0 1");
    ASSERT_EQ(acts_.size(), 5u);
    EXPECT_EQ(acts_[4].kind, Kind::Idle);
}

TEST_F(EdgeLogTest, KnowsABitThatWasAskedForBeforeItsEdge) {
    move("0100");
    const bool early = log_.tdo().value();
    move("1 1");
    ASSERT_EQ(acts_.size(), 1u);
    EXPECT_TRUE(acts_[0].answered);
    EXPECT_EQ(acts_[0].in, Bits(1, early));
}

TEST_F(EdgeLogTest, KeepsTheBeginningOfALongScan) {
    move("0100");
    Bits tdi(300);
    tdi.set(0, true);
    std::string tms(300, '0');
    tms.back() = '1';
    (void)scan(tms, tdi);
    move("1");
    ASSERT_EQ(acts_.size(), 1u);
    EXPECT_EQ(acts_[0].count, 300u);
    EXPECT_EQ(acts_[0].out, tdi.slice(0, ClientAct::kKeptBits));
}

TEST_F(EdgeLogTest, TellsWhatAClientLeavesHalfDone) {
    move("0 000");
    ASSERT_TRUE(log_.finish());
    move("100 000");
    ASSERT_TRUE(log_.finish());
    ASSERT_TRUE(log_.finish());
    ASSERT_EQ(acts_.size(), 2u);
    EXPECT_EQ(acts_[0].kind, Kind::Idle);
    EXPECT_EQ(acts_[1].count, 3u);
    EXPECT_EQ(acts_[1].end, TapState::ShiftDr);
    EXPECT_EQ(port_.settles, 3);
}

TEST_F(EdgeLogTest, TellsOfALineOnlyWhatChanges) {
    ASSERT_TRUE(log_.set_trst(false));
    ASSERT_TRUE(log_.set_srst(false));
    EXPECT_TRUE(acts_.empty());
}

TEST_F(EdgeLogTest, BeginsAnewWithAClient) {
    move("0100 00");
    ASSERT_TRUE(log_.start());
    move("0100 0001 1");
    ASSERT_EQ(acts_.size(), 1u);
    EXPECT_EQ(acts_[0].count, 4u);
}

TEST_F(EdgeLogTest, TellsTheClockInForce) {
    ASSERT_TRUE(log_.set_max_frequency(5e6));
    ASSERT_EQ(acts_.size(), 1u);
    EXPECT_EQ(acts_[0].kind, Kind::Clock);
    EXPECT_EQ(acts_[0].hertz, 5e6);
}

} // namespace
} // namespace talvor
