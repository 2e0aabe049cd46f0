#include "common/notation.h"
#include "podsim/batch/data_run.h"
#include "podsim/batch/decoder.h"
#include "queue.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace talvor::podsim::batch {
namespace {

using testing::ElementsAre;

std::vector<uint16_t> repeated(const std::string& step, int count, const std::string& end = {}) {
    std::string lines;
    for (int i = 0; i < count; ++i) {
        lines += step + "; ";
    }
    const auto words = notation::parse((lines + end).c_str());
    EXPECT_TRUE(words) << lines;
    return words.value_or(std::vector<uint16_t>{});
}

struct Kind {
    const char* text;
    DataStep step;
};
const Kind kKinds[] = {
    {"wait recv; write 23 1234; read 22", {SHM_WAIT_READ_ONE, true, true}},
    {"wait recv; read 22", {SHM_WAIT_READ_ONE, false, true}},
    {"wait send; write 23 8812", {SHM_WAIT_WRITE_ONE, true, false}},
    {"write 23 0016; read 22", {0, true, true}},
    {"write 23 4017", {0, true, false}},
    {"read 22", {0, false, true}},
    {"wait recv; write 23 1234; write 16 0; read 22", {SHM_WAIT_READ_ONE, true, true, true}},
    {"wait send; write 23 8812; write 16 0", {SHM_WAIT_WRITE_ONE, true, false, true}},
    {"write 23 0016; write 16 0; read 22", {0, true, true, true}},
    {"write 23 4017; write 16 0", {0, true, false, true}},
};

TEST(DataRunTest, EachKindOfStepIsFoundWithItsCount) {
    for (const Kind& kind : kKinds) {
        EXPECT_EQ(repeated(kind.text, 1).size(), kind.step.words()) << kind.text;
        for (const char* end : {"", "wait done", "wait send many", "write 10 4080", "read 21"}) {
            for (const int steps : {4, 12, 64}) {
                const DataRun run = find_run(repeated(kind.text, steps, end), 100);
                EXPECT_EQ(run.step, kind.step) << kind.text;
                EXPECT_EQ(run.count, static_cast<size_t>(steps)) << kind.text << " before " << end;
            }
        }
    }
}

TEST(DataRunTest, AnyOtherWordInAStepEndsTheRunBeforeItsGroup) {
    for (const Kind& kind : kKinds) {
        const std::vector<uint16_t> words = repeated(kind.text, 12);
        const size_t length = kind.step.words();
        for (size_t i = 0; i < words.size(); ++i) {
            const bool is_value = kind.step.sends && i % length == kind.step.value_index();
            for (unsigned bit = 0; bit < 16; ++bit) {
                std::vector<uint16_t> changed = words;
                changed[i] = static_cast<uint16_t>(changed[i] ^ (1U << bit));
                const DataRun run = find_run(changed, 100);
                const size_t left = is_value ? 12 : i / length / 4 * 4;
                EXPECT_EQ(run.count, run.step == kind.step ? left : 0) << kind.text << " at " << i;
            }
        }
    }
}

TEST(DataRunTest, RunsAreWholeGroupsAndALongOneIsCut) {
    for (const Kind& kind : kKinds) {
        EXPECT_EQ(find_run(repeated(kind.text, 3), 100).count, 0U) << kind.text;
        EXPECT_EQ(find_run(repeated(kind.text, 7), 100).count, 4U) << kind.text;
        EXPECT_EQ(find_run(repeated(kind.text, 2050), 5000).count, 2048U) << kind.text;
    }
}

TEST(DataRunTest, ReadsAreCountedAndAStepIsNeverTorn) {
    for (const Kind& kind : kKinds) {
        std::vector<uint16_t> words = repeated(kind.text, 9);
        EXPECT_EQ(find_run(words, 7).count, kind.step.receives ? 4U : 8U) << kind.text;
        EXPECT_EQ(find_run(words, 3).count, kind.step.receives ? 0U : 8U) << kind.text;
        words.resize(8 * kind.step.words() - 1);
        EXPECT_EQ(find_run(words, 100).count, 4U) << kind.text;
    }
}

TEST(DataRunTest, NothingElseBeginsARun) {
    EXPECT_EQ(find_run({}, 100).count, 0U);
    for (const char* step : {"wait done", "wait recv", "wait send", "wait recv many; read 22",
                             "wait send; read 22", "wait recv; write 23 1", "read 21", "write 22 1",
                             "write 10 4080", "marker", "read 22; wait recv", "write 16 0",
                             "wait recv; write 23 1; write 16 0", "write 23 1; write 16 1"}) {
        EXPECT_EQ(find_run(repeated(step, 8), 100).count, 0U) << step;
    }
}

// Takes as many steps of a run as it is told, and notes everything in the notation.
class RunRecorder {
public:
    bool write(uint16_t port, uint16_t) { return note("write " + std::to_string(port)); }
    std::optional<uint16_t> read(uint16_t) {
        return note("read") ? std::optional(next_read_++) : std::nullopt;
    }
    bool wait(uint16_t) { return note("wait"); }
    const Error& word_error() const { return error_; }
    Status settle() { return {}; }
    std::optional<size_t> run_steps(const DataStep& step, const uint16_t*, size_t count,
                                    uint16_t* received) {
        if (fail_at_run != 0 && ++runs_ == fail_at_run) {
            error_.reason = "the target is gone";
            return std::nullopt;
        }
        const size_t taken = std::min(takes, count);
        for (size_t i = 0; i < taken && step.receives; ++i) {
            received[i] = next_read_++;
        }
        seen.push_back(std::to_string(taken) + " of " + std::to_string(count));
        return taken;
    }

    size_t takes = 0;
    int fail_at_run = 0;
    std::vector<std::string> seen;

private:
    bool note(const std::string& text) {
        seen.push_back(text);
        return true;
    }
    Error error_;
    uint16_t next_read_ = 100;
    int runs_ = 0;
};

class RunQueue : public Queue {
public:
    RunQueue& exchanges(int count) {
        for (int i = 0; i < count; ++i) {
            word(SHM_WAIT_READ_ONE).write(23, 0).read(22);
        }
        return *this;
    }
    Outcome run(RunRecorder& ports) { return execute(batch(), in(), ports, stop); }

    std::atomic<bool> stop{false};
};

TEST(RunsTest, WhatTheControllerTakesIsPassedAndTheRestComesWordByWord) {
    RunQueue queue;
    queue.exchanges(9).read(31);
    RunRecorder ports;
    ports.takes = 5;
    const Outcome outcome = queue.run(ports);
    ASSERT_FALSE(outcome.error) << outcome.error->reason;
    EXPECT_EQ(outcome.reads, 10U);
    EXPECT_THAT(ports.seen, ElementsAre("5 of 8", "3 of 3", "wait", "write 23", "read", "read"));
    EXPECT_THAT(queue.in().first(11),
                ElementsAre(100, 101, 102, 103, 104, 105, 106, 107, 108, 109, 0));
}

TEST(RunsTest, AStepThatTheControllerDoesNotTakeIsExecutedBeforeItIsAskedAgain) {
    RunQueue queue;
    queue.exchanges(4);
    RunRecorder ports;
    EXPECT_EQ(status_of(queue.run(ports)), 8);
    std::vector<std::string> expected;
    for (int left = 4; left > 0; --left) {
        expected.insert(expected.end(),
                        {"0 of " + std::to_string(left), "wait", "write 23", "read"});
    }
    EXPECT_EQ(ports.seen, expected);
}

TEST(RunsTest, ARunEndsBeforeTheReadThatClosesAMarker) {
    RunQueue queue;
    queue.exchanges(2048 + 2047);
    RunRecorder ports;
    ports.takes = 5000;
    const Outcome outcome = queue.run(ports);
    ASSERT_FALSE(outcome.error) << outcome.error->reason;
    EXPECT_EQ(outcome.reads, 4095U);
    EXPECT_THAT(ports.seen, ElementsAre("2048 of 2048", "2044 of 2044", "wait", "write 23", "read",
                                        "wait", "write 23", "read", "wait", "write 23", "read"));
    // A marker that was not closed is still found by the read that is too many.
    RunQueue open;
    open.exchanges(2048);
    open.block().tbcOMblock[1] = SHM_MARKER_OPEN;
    open.block().lastWCNTR = 1;
    RunRecorder others;
    others.takes = 5000;
    const Outcome failed = open.run(others);
    ASSERT_TRUE(failed.error);
    EXPECT_EQ(failed.error->reason, "a full run of reads whose marker was not closed");
    EXPECT_EQ(failed.error->index, 2U + 2047U * 4U + 3U);
}

TEST(RunsTest, ARunNeverPassesTheInBlock) {
    RunQueue queue;
    queue.exchanges(20);
    RunRecorder ports;
    ports.takes = 5000;
    std::vector<uint16_t> in(10);
    const Outcome outcome = execute(queue.batch(), in, ports, queue.stop);
    ASSERT_TRUE(outcome.error);
    EXPECT_EQ(outcome.error->reason, "a read that would overflow the in-block");
    EXPECT_EQ(outcome.error->index, 2U + 10U * 4U + 3U);
    EXPECT_EQ(in.back(), 109);
}

TEST(RunsTest, ATargetThatFailsInARunFailsTheBatchWhereTheRestOfTheRunBegins) {
    RunQueue queue;
    queue.exchanges(20);
    RunRecorder ports;
    ports.takes = 8;
    ports.fail_at_run = 2;
    const Outcome outcome = queue.run(ports);
    ASSERT_TRUE(outcome.error);
    EXPECT_EQ(outcome.error->reason, "the target is gone");
    EXPECT_EQ(outcome.error->index, 2U + 8U * 4U);
    EXPECT_EQ(outcome.reads, 8U);
}

TEST(RunsTest, AStopEndsTheBatchInTheMiddleOfARun) {
    RunQueue queue;
    queue.exchanges(20);
    queue.stop = true;
    RunRecorder ports;
    const Outcome outcome = queue.run(ports);
    ASSERT_TRUE(outcome.error);
    EXPECT_EQ(outcome.error->reason, "the pod is being stopped");
    EXPECT_TRUE(ports.seen.empty());
}

} // namespace
} // namespace talvor::podsim::batch
