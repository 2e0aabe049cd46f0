#include "common/interrupt.h"
#include "host/boundary/test_mode.h"
#include "tests/host/boundary/parts.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>

namespace talvor::boundary {
namespace {

using testing::Each;
using testing::ElementsAre;

class TestModeTest : public testing::Test {
protected:
    [[nodiscard]] static std::vector<PartTap> taps() { return {{make_part()}, {make_part()}}; }
    [[nodiscard]] Images driving() const {
        Images images = access_.safe();
        images[0].set(8, true);
        images[0].set(9, true);
        return images;
    }
    [[nodiscard]] bool safe_values(const Moment& moment) const {
        return moment.latches[0] == access_.safe()[0] && moment.latches[1] == access_.safe()[1];
    }
    // The last moments are: safe values in the pins, BYPASS, Test-Logic-Reset.
    void expect_the_way_out() const {
        const std::vector<Moment>& moments = port_.moments;
        ASSERT_GE(moments.size(), 3u);
        const Moment& last = moments.back();
        const Moment& bypass = moments[moments.size() - 2];
        EXPECT_THAT(last.instructions, Each(std::string())); // Test-Logic-Reset
        EXPECT_THAT(bypass.instructions, Each(std::string("BYPASS")));
        EXPECT_TRUE(safe_values(moments[moments.size() - 3]));
        EXPECT_TRUE(port_.in_test_mode(moments[moments.size() - 3], 0));
        // From the first test mode on the pins belong to the register until the values are safe.
        bool testing = false;
        for (const Moment& moment : moments) {
            const bool now = port_.in_test_mode(moment, 0);
            EXPECT_TRUE(!testing || now || safe_values(moment));
            testing = now;
        }
    }

    PartPort port_{taps()};
    Access access_{port_, members_of(taps())};
};

TEST_F(TestModeTest, EntersWithSafeValues) {
    TestMode test(access_);
    ASSERT_TRUE(test.enter(Instruction::Extest));
    EXPECT_TRUE(test.entered());
    EXPECT_THAT(port_.moments.back().instructions, Each(std::string("EXTEST")));
    for (const Moment& moment : port_.moments) {
        EXPECT_TRUE(!port_.in_test_mode(moment, 0) || safe_values(moment));
    }
    EXPECT_EQ(port_.scans(), 3u); // PRELOAD, its data, EXTEST
}

TEST_F(TestModeTest, LeavesByTheSafeWay) {
    TestMode test(access_);
    ASSERT_TRUE(test.enter(Instruction::Extest));
    ASSERT_TRUE(access_.exchange(driving(), nullptr));
    ASSERT_TRUE(test.leave());
    EXPECT_FALSE(test.entered());
    expect_the_way_out();
    const size_t scans = port_.scans();
    ASSERT_TRUE(test.leave()); // once is enough
    EXPECT_EQ(port_.scans(), scans);
}

TEST_F(TestModeTest, LeavesWhenItEnds) {
    {
        TestMode test(access_);
        ASSERT_TRUE(test.enter(Instruction::Extest));
        ASSERT_TRUE(access_.exchange(driving(), nullptr));
    }
    expect_the_way_out();
}

TEST_F(TestModeTest, DoesNothingThatWasNotEntered) {
    { const TestMode test(access_); }
    EXPECT_EQ(port_.moments.size(), 0u);
}

TEST_F(TestModeTest, LeavesClampThroughExtest) {
    TestMode test(access_);
    const std::vector<Instruction> clamp{Instruction::Clamp, Instruction::Bypass};
    ASSERT_TRUE(test.enter(clamp, driving()));
    EXPECT_THAT(port_.moments.back().instructions, ElementsAre("CLAMP", "BYPASS"));
    EXPECT_EQ(port_.moments.back().latches[0], driving()[0]);
    ASSERT_TRUE(test.leave());
    ASSERT_GE(port_.moments.size(), 4u);
    EXPECT_THAT(port_.moments[port_.moments.size() - 4].instructions,
                ElementsAre("EXTEST", "BYPASS"));
    EXPECT_EQ(port_.moments[port_.moments.size() - 3].latches[0], access_.safe()[0]);
    EXPECT_THAT(port_.moments.back().instructions, Each(std::string()));
}

TEST_F(TestModeTest, LeavesHighZWithoutDriving) {
    TestMode test(access_);
    ASSERT_TRUE(test.enter(Instruction::HighZ));
    ASSERT_TRUE(test.leave());
    for (const Moment& moment : port_.moments) {
        EXPECT_NE(moment.instructions[0], "EXTEST");
    }
    EXPECT_THAT(port_.moments.back().instructions, Each(std::string()));
}

TEST_F(TestModeTest, LeavesWhereverAScanFails) {
    for (size_t at = 0; at < 6; ++at) {
        PartPort port(taps());
        Access access(port, members_of(taps()));
        port.fails_at = at;
        {
            TestMode test(access);
            Status done = test.enter(Instruction::Extest);
            EXPECT_EQ(done.has_value(), at >= 3) << at;
            if (done) {
                done = access.exchange(driving(), nullptr);
            }
            EXPECT_EQ(done.has_value(), at >= 4) << at;
        }
        EXPECT_THAT(port.moments.back().instructions, Each(std::string())) << at;
        // Before PRELOAD has shifted, nothing was put there; scan 4 is that of the safe values.
        const Bits& last = port.moments.back().latches[0];
        EXPECT_EQ(last.all_ones(), at < 2) << at;
        EXPECT_EQ(last == access.safe()[0], at >= 2 && at != 4) << at;
    }
}

TEST_F(TestModeTest, TakesEveryStepWhenAllScansFail) {
    TestMode test(access_);
    ASSERT_TRUE(test.enter(Instruction::Extest));
    port_.fails_at = port_.scans();
    port_.fails_for_good = true;
    const Status left = test.leave();
    ASSERT_FALSE(left);
    EXPECT_EQ(headline(left.error()), "test port: this scan was to fail");
    EXPECT_THAT(port_.moments.back().instructions, Each(std::string())); // reset
}

TEST_F(TestModeTest, LeavesWhenACaptureIsWrong) {
    TestMode test(access_);
    port_.wrong_capture = Bits::from_uint(0b0001'0011, 8);
    EXPECT_FALSE(test.enter(Instruction::Extest));
    EXPECT_THAT(port_.moments.back().instructions, Each(std::string()));
}

// A port that heeds signals, as that of a pod does.
class HeedingPort final : public JtagPort {
public:
    explicit HeedingPort(PartPort& port) : port_(port) {}
    [[nodiscard]] Status can_scan(ScanPath, uint64_t, bool) const override { return {}; }
    [[nodiscard]] Status can_run(StableState, uint64_t, ClockLine) const override { return {}; }
    [[nodiscard]] Status can_set_trst(TrstLevel) const override { return {}; }
    [[nodiscard]] Status can_set_max_frequency(std::optional<double>) const override { return {}; }
    [[nodiscard]] Status reset_tap() override {
        TRY(check_interrupt());
        return port_.reset_tap();
    }
    [[nodiscard]] Status move(StableState) override { return {}; }
    [[nodiscard]] Status scan(const Scan& scan) override {
        TRY(check_interrupt());
        return port_.scan(scan);
    }
    [[nodiscard]] Status run(StableState, uint64_t, std::chrono::nanoseconds) override {
        return {};
    }
    [[nodiscard]] Status set_trst(TrstLevel) override { return {}; }
    [[nodiscard]] Status set_max_frequency(std::optional<double>) override { return {}; }
    [[nodiscard]] Status flush() override { return {}; }

private:
    PartPort& port_;
};

// A process of its own: it is at an end afterwards.
[[noreturn]] void leave_interrupted() {
    watch_interrupts();
    const std::vector<PartTap> taps{{make_part()}};
    PartPort port(taps);
    HeedingPort heeding(port);
    Access access(heeding, members_of(taps));
    {
        TestMode test(access);
        if (!test.enter(Instruction::Extest)) {
            std::_Exit(1);
        }
        raise(SIGINT);
        raise(SIGINT); // before the way out begins
        if (access.exchange({}, nullptr)) {
            std::_Exit(2);
        }
    }
    const Moment& safe = port.moments[port.moments.size() - 3];
    std::_Exit(safe.instructions[0] == "EXTEST" && safe.latches[0] == access.safe()[0] &&
                       port.moments.back().instructions[0].empty()
                   ? 0
                   : 3);
}

TEST_F(TestModeTest, LeavesWhenASignalAsksForTheEnd) {
    EXPECT_EXIT(leave_interrupted(), testing::ExitedWithCode(0), "");
}

} // namespace
} // namespace talvor::boundary
