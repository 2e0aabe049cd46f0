// A shmoo of a simulated chain through the host library.
#include "host/session/shmoo_trials.h"
#include "session_options.h"
#include "support/podsim_process.h"

#include <gtest/gtest.h>

#include <string>

namespace endtoend {
namespace {

using talvor::Session;
using talvor::Shmoo;
using talvor::ShmooWatcher;
using test_support::PodsimProcess;

// Above 10 MHz the target answers late.
constexpr const char* kLateAbove = R"([[pod]]
serial = 1
max_tck_hz = 10000000
[[pod.tap]]
name = "a"
ir_length = 4
idcode = 0x2BA01477
idcode_instruction = 14
)";

class ShmooTrialsTest : public testing::Test {
protected:
    ShmooTrialsTest() : simulator_(kLateAbove) {
        auto opened = Session::open(session_options(1));
        EXPECT_TRUE(opened) << headline(opened.error());
        session_ = std::move(*opened);
    }
    [[nodiscard]] Shmoo shmoo(size_t clocks) {
        auto found = talvor::shmoo_clocks(session_->port().clock(), 1e6, std::nullopt, clocks);
        EXPECT_TRUE(found);
        return Shmoo(std::move(*found), {0, 1, 2, 3});
    }
    PodsimProcess simulator_;
    std::unique_ptr<Session> session_;
};

// Writes down what it is told; ends the trials after so many cells.
class Recorder : public ShmooWatcher {
public:
    explicit Recorder(size_t most = SIZE_MAX) : most_(most) {}
    void begin(const Shmoo& /*shmoo*/) override { told += "("; }
    void row(const talvor::ShmooClock& /*clock*/) override { told += "["; }
    bool cell(bool works) override {
        told += works ? "+" : "-";
        return ++cells_ < most_;
    }
    void end_row() override { told += "]"; }
    std::string told;

private:
    size_t most_;
    size_t cells_ = 0;
};

TEST_F(ShmooTrialsTest, FindsTheClocksAtWhichTheTargetIsLate) {
    Shmoo tried = shmoo(3);
    Recorder watcher;
    const auto done = talvor::try_shmoo(*session_, 64, tried, watcher);
    ASSERT_TRUE(done) << headline(done.error());
    ASSERT_GE(tried.clocks.size(), 2U);
    EXPECT_GT(tried.clocks.front().hertz, 10'000'000U);
    EXPECT_LT(tried.clocks.back().hertz, 10'000'000U);
    for (size_t delay = 0; delay < tried.delays.size(); ++delay) {
        EXPECT_FALSE(tried.at(0, delay)) << delay;
    }
    EXPECT_TRUE(tried.at(tried.clocks.size() - 1, 3)) << "the delay of the cable";
    EXPECT_TRUE(watcher.told.starts_with("([----]["));
    EXPECT_TRUE(watcher.told.ends_with("]"));
}

TEST_F(ShmooTrialsTest, EndWhereTheWatcherSaysSo) {
    Shmoo tried = shmoo(2);
    Recorder watcher(3);
    const auto done = talvor::try_shmoo(*session_, 64, tried, watcher);
    ASSERT_FALSE(done);
    EXPECT_EQ(done.error().kind, talvor::ErrorKind::Refused);
    EXPECT_EQ(watcher.told, "([---");
}

TEST_F(ShmooTrialsTest, WithoutAnyWorkingDelaySayWhatTheChainDoes) {
    ASSERT_EQ(simulator_.ctl("cable tdo 0"), "ok");
    Shmoo tried = shmoo(2);
    Recorder watcher;
    const auto done = talvor::try_shmoo(*session_, 64, tried, watcher);
    ASSERT_FALSE(done);
    EXPECT_EQ(done.error().kind, talvor::ErrorKind::Target);
    EXPECT_EQ(watcher.told, "") << "nothing was tried";
}

TEST_F(ShmooTrialsTest, ClocksOutsideOfThePodsAreRefused) {
    const auto none = talvor::shmoo_clocks(session_->port().clock(), 1, 2, 4);
    ASSERT_FALSE(none);
    EXPECT_EQ(none.error().kind, talvor::ErrorKind::Usage);
    const auto all = talvor::shmoo_clocks(session_->port().clock(), std::nullopt, std::nullopt, 5);
    ASSERT_TRUE(all);
    EXPECT_LE(all->size(), 5U);
    EXPECT_GE(all->back().hertz, 500'000U);
    EXPECT_EQ(all->front().hertz, session_->port().clock().fastest());
}

} // namespace
} // namespace endtoend
