#include "common/notation.h"
#include "podsim/model/chain.h"
#include "podsim/pod/simulated_pod.h"
#include "tests/podsim/batch/far_chain.h"
#include "tests/podsim/reason.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

namespace talvor::podsim::pod {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using namespace std::chrono_literals;

class SimulatedPodTest : public testing::Test {
protected:
    SimulatedPodTest() { make({.serial = 42, .controller = {}, .log_batches = false}); }
    ~SimulatedPodTest() override { std::fclose(file_); }

    void make(const Settings& settings) {
        pod_ = std::make_unique<SimulatedPod>(settings, std::make_unique<Chain>(ChainDescription{}),
                                              log_);
    }

    // Executes a batch in the notation; reads are counted. The status.
    int32_t run(const std::string& lines) {
        const auto body = notation::parse("reserved; marker;" + lines);
        EXPECT_TRUE(body) << lines;
        words_ = body.value_or(std::vector<uint16_t>{});
        uint32_t reads = 0;
        for (const notation::Item& item : notation::items(words_)) {
            reads += item.kind == notation::Kind::Read ? 1 : 0;
        }
        const batch::Batch batch{{static_cast<uint32_t>(words_.size()), 0, 1, reads, reads},
                                 words_};
        in_.assign(100, 0xEEEE);
        outcome_ = pod_->execute(batch, in_);
        return batch::status_of(outcome_);
    }
    std::string reason() const { return outcome_.error ? outcome_.error->reason : ""; }
    Status trouble(const std::function<void(Troubles&)>& change) {
        return pod_->change([&](Faults&, Troubles& troubles) { change(troubles); });
    }
    Report report() { return pod_->report().value(); }
    std::string logged() {
        std::rewind(file_);
        std::string text(10'000, '\0');
        text.resize(std::fread(text.data(), 1, text.size(), file_));
        return text;
    }

    std::FILE* file_ = std::tmpfile();
    Log log_{file_};
    std::unique_ptr<SimulatedPod> pod_;
    std::vector<uint16_t> words_;
    std::vector<uint16_t> in_;
    batch::Outcome outcome_;
};

TEST_F(SimulatedPodTest, ExecutesBatchesOnItsController) {
    EXPECT_EQ(run("write 12 1234; read 12; read 17"), 4);
    EXPECT_EQ(in_[0], 0x1234);
    EXPECT_EQ(in_[1] & 0x8003, 0x8003);
    EXPECT_EQ(in_[2], 0xEEEE);
    EXPECT_EQ(report().batches, 1U);
    EXPECT_EQ(report().failed_batches, 0U);
    EXPECT_THAT(logged(), IsEmpty());
}

TEST_F(SimulatedPodTest, ABrokenBatchIsLoggedWithItsOffendingWord) {
    EXPECT_LT(run("write 12 1; control 9999; write 12 2"), 0);
    EXPECT_EQ(logged(), "pod 42: batch 1 failed at word 4 (control 9999): an unknown control "
                        "word\n");
    EXPECT_EQ(run("read 12"), 2);
    EXPECT_EQ(in_[0], 1); // what stood before was executed, what stood after was not
    EXPECT_EQ(report().failed_batches, 1U);
}

TEST_F(SimulatedPodTest, FailsTheNextBatchesAndNoMore) {
    ASSERT_TRUE(trouble([](Troubles& troubles) { troubles.fail = 2; }));
    EXPECT_LT(run("write 12 1"), 0);
    EXPECT_LT(run("write 12 1"), 0);
    EXPECT_EQ(run("read 12"), 2);
    EXPECT_EQ(in_[0], 0); // the failed ones had no effect
    EXPECT_EQ(report().troubles.fail, 0U);
    EXPECT_THAT(logged(), HasSubstr("pod 42: batch 1 failed: failed on request\n"));
}

TEST_F(SimulatedPodTest, RefusesTheNextSupportRegisterWritesAndNoMore) {
    ASSERT_TRUE(trouble([](Troubles& troubles) { troubles.refuse = 1; }));
    EXPECT_FALSE(pod_->write_support(SUPPORT_RESET));
    EXPECT_FALSE(report().target_reset);
    EXPECT_TRUE(pod_->write_support(SUPPORT_RESET));
    EXPECT_TRUE(report().target_reset);
    EXPECT_EQ(run("read 31"), 2);
    EXPECT_EQ(in_[0] & SUPPORT_RESET, SUPPORT_RESET);
}

TEST_F(SimulatedPodTest, AnUnpluggedPodFailsEverything) {
    ASSERT_TRUE(trouble([](Troubles& troubles) {
        troubles.plugged = false;
        troubles.fail = 1;
    }));
    EXPECT_LT(run("read 16"), 0);
    EXPECT_EQ(reason(), "the pod is unplugged");
    EXPECT_EQ(reason_of(pod_->write_support(0)), "the pod is unplugged");
    ASSERT_TRUE(trouble([](Troubles& troubles) { troubles.plugged = true; }));
    EXPECT_LT(run("read 16"), 0); // the failure asked for is still due
    EXPECT_EQ(run("read 16"), 2);
}

TEST_F(SimulatedPodTest, ALatencyDelaysEachBatchAndAStopEndsIt) {
    ASSERT_TRUE(trouble([](Troubles& troubles) { troubles.latency_us = 20'000; }));
    auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(run("read 16"), 2);
    EXPECT_GE(std::chrono::steady_clock::now() - start, 20ms);

    ASSERT_TRUE(trouble([](Troubles& troubles) { troubles.latency_us = 3'600'000'000; }));
    std::thread stopper([this] {
        while (report().batches < 2) { // until the batch has begun
            std::this_thread::sleep_for(1ms);
        }
        pod_->request_stop();
    });
    start = std::chrono::steady_clock::now();
    EXPECT_LT(run("read 16"), 0);
    EXPECT_EQ(reason(), "the pod is being stopped");
    EXPECT_LT(std::chrono::steady_clock::now() - start, 5s);
    stopper.join();
}

TEST_F(SimulatedPodTest, FaultsOfTheControllerReachIt) {
    ASSERT_TRUE(pod_->change([](Faults& faults, Troubles&) { faults.emu.emu1 = false; }));
    EXPECT_EQ(run("read 17"), 2);
    EXPECT_EQ(in_[0] & (TBC_STATUS1_EMU1 | TBC_STATUS1_EMU0), TBC_STATUS1_EMU0);
    EXPECT_FALSE(report().faults.emu.emu1);
}

TEST_F(SimulatedPodTest, ScheduledActionsComeJustBeforeTheirBatchInTheOrderGiven) {
    std::vector<std::string> seen;
    const auto note_batches = [&](std::string name) {
        return [&, name] { seen.push_back(name + " at " + std::to_string(report().batches)); };
    };
    pod_->schedule(3, note_batches("third"));
    pod_->schedule(1, note_batches("first"));
    pod_->schedule(3, note_batches("also third"));
    pod_->schedule(2,
                   [this] { EXPECT_TRUE(trouble([](Troubles& troubles) { troubles.fail = 1; })); });
    EXPECT_EQ(run("read 16"), 2);
    EXPECT_LT(run("read 16"), 0);
    EXPECT_EQ(run("read 16"), 2);
    EXPECT_EQ(run("read 16"), 2);
    EXPECT_THAT(seen, ElementsAre("first at 1", "third at 3", "also third at 3"));
}

TEST_F(SimulatedPodTest, RemembersWhetherAHostIsAttached) {
    EXPECT_FALSE(report().attached);
    pod_->attach();
    EXPECT_TRUE(report().attached);
    EXPECT_THAT(logged(), IsEmpty());
    pod_->attach();
    EXPECT_EQ(logged(), "pod 42: a host attaches, and the one before it never detached\n");
    pod_->detach();
    EXPECT_FALSE(report().attached);
}

TEST_F(SimulatedPodTest, LogsEachBatchInTheNotationWhenAskedTo) {
    make({.serial = 7, .controller = {}, .log_batches = true});
    EXPECT_EQ(run("write 12 1234; read 12; wait done"), 2);
    EXPECT_LT(run("write 12 ?"), 0);
    EXPECT_EQ(logged(), "pod 7: batch 1, 6 words, status 2\n"
                        "  reserved\n  marker\n  write 12 1234\n  read 12\n  wait done\n"
                        "  results 1234\n"
                        "pod 7: batch 2, 3 words, status -1\n"
                        "  reserved\n  marker\n  write 12 ?\n"
                        "pod 7: batch 2 failed at word 2 (write 12 ?): a write without its "
                        "value\n");
}

TEST_F(SimulatedPodTest, AHostsMistakeIsAWarningOrWithStrictAFailure) {
    EXPECT_EQ(run("write 23 1234"), 0);
    EXPECT_EQ(report().warnings, 1U);
    EXPECT_THAT(logged(), HasSubstr("pod 42: warning: "));
    Settings settings{.serial = 42, .controller = {}, .log_batches = false};
    settings.controller.strict = true;
    make(settings);
    EXPECT_LT(run("write 23 1234"), 0);
    EXPECT_EQ(report().warnings, 0U);
}

TEST_F(SimulatedPodTest, AnOperatorWaitsForARunningBatchOnlySoLong) {
    // The action runs while no lock is held, so the batch is held up by the target instead.
    static std::atomic<bool> moving;
    static std::atomic<bool> go_on;
    moving = go_on = false;
    class SlowTarget : public Chain {
    public:
        using Chain::Chain;
        Status move(uint64_t tms, unsigned count, bool tdi) override {
            moving = true;
            go_on.wait(false);
            return Chain::move(tms, count, tdi);
        }
    };
    pod_ = std::make_unique<SimulatedPod>(Settings{.serial = 42, .controller = {}},
                                          std::make_unique<SlowTarget>(ChainDescription{}), log_);
    std::thread worker([this] { run("write 11 0002; write 10 4080; wait done"); });
    while (!moving) {
        std::this_thread::sleep_for(1ms);
    }
    EXPECT_EQ(reason_of(pod_->report()), "pod 42 is in the middle of a batch; try again");
    go_on = true;
    go_on.notify_all();
    worker.join();
    EXPECT_TRUE(pod_->report());
    EXPECT_EQ(report().tap_state, TapState::RunTestIdle);
}

// A chain of nothing but a wire that is gone at the end of a batch.
class LostWire : public FarChain {
public:
    LostWire() : FarChain(chain_) {}
    Status end_repeat() override {
        (void)FarChain::end_repeat();
        return failure("it is gone");
    }

private:
    Chain chain_{ChainDescription{}};
};

class FarWire : public FarChain {
public:
    FarWire() : FarChain(chain_) {}

private:
    Chain chain_{ChainDescription{}};
};

// Sixteen bits through a wire, which come back 19 bits late.
constexpr const char* kScan =
    "write 4 0700; write 12 000f; write 13 0; write 11 3002; write 10 4080; wait send; "
    "write 23 1234; wait recv; read 22; wait done";

TEST_F(SimulatedPodTest, ATargetFarAwayAnswersAsANearOne) {
    ASSERT_EQ(run(kScan), 2);
    ASSERT_EQ(run(kScan), 2);
    const uint16_t near = in_[0];
    pod_ = std::make_unique<SimulatedPod>(Settings{.serial = 42, .controller = {}},
                                          std::make_unique<FarWire>(), log_);
    EXPECT_EQ(run(kScan), 2);
    EXPECT_EQ(in_[0], 0xFFFF);
    EXPECT_EQ(run(kScan), 2);
    EXPECT_EQ(in_[0], near);
    EXPECT_EQ(in_[1], 0xEEEE);
}

TEST_F(SimulatedPodTest, ATargetFarAwayThatIsLostFailsABatchThatReadsNothing) {
    pod_ = std::make_unique<SimulatedPod>(Settings{.serial = 42, .controller = {}},
                                          std::make_unique<LostWire>(), log_);
    EXPECT_LT(run("write 12 1234"), 0);
    EXPECT_EQ(reason(), "it is gone");
    EXPECT_LT(run("control 9999"), 0);
    EXPECT_EQ(reason(), "an unknown control word");
}

} // namespace
} // namespace talvor::podsim::pod
