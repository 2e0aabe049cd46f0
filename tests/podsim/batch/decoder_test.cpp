#include "common/notation.h"
#include "podsim/batch/decoder.h"
#include "queue.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <memory>

namespace talvor::podsim::batch {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// Records what it is asked, in the batch notation; answers reads with 100, 101, ...
class RecordingPorts {
public:
    bool write(uint16_t port, uint16_t value) {
        return record({notation::Kind::Write, port, value});
    }
    std::optional<uint16_t> read(uint16_t port) {
        return record({notation::Kind::Read, port, 0}) ? std::optional(next_read_++) : std::nullopt;
    }
    bool wait(uint16_t word) { return record(notation::item_at(std::span(&word, 1), 0)); }
    const Error& word_error() const { return error_; }
    Status settle() {
        ++settled;
        return refuse == "settle" ? failure("refused on purpose") : Status();
    }

    std::string refuse; // the access that is refused, in the notation
    std::vector<std::string> seen;
    int settled = 0;
    std::atomic<bool>* stop_after_access = nullptr;

private:
    bool record(const notation::Item& item) {
        if (notation::text(item) == refuse) {
            error_.reason = "refused on purpose";
            return false;
        }
        seen.push_back(notation::text(item));
        if (stop_after_access != nullptr) {
            *stop_after_access = true;
        }
        return true;
    }
    Error error_;
    uint16_t next_read_ = 100;
};

// A batch in the notation, executed on recording ports.
class TextQueue : public Queue {
public:
    TextQueue& text(const char* lines) {
        const auto words = notation::parse(lines);
        EXPECT_TRUE(words) << lines;
        for (const uint16_t one : words.value_or(std::vector<uint16_t>{})) {
            word(one);
        }
        return *this;
    }

    Outcome run(RecordingPorts& ports, std::span<uint16_t> in_block) {
        return execute(batch(), in_block, ports, stop);
    }
    Outcome run(RecordingPorts& ports) { return run(ports, in()); }

    std::atomic<bool> stop{false};
};

TEST(DecoderTest, AnEmptyBatchDoesNothingAndAnswers0) {
    TextQueue queue;
    RecordingPorts ports;
    const Outcome outcome = queue.run(ports);
    EXPECT_FALSE(outcome.error);
    EXPECT_EQ(status_of(outcome), 0);
    EXPECT_THAT(ports.seen, IsEmpty());
}

TEST(DecoderTest, ExecutesEveryKindOfWordInOrder) {
    TextQueue queue;
    queue.text("write 10 4080; wait send; wait send many; write 23 c000; wait recv").read(22);
    queue.text("wait recv many").read(22);
    queue.text("wait done; reserved").read(31);
    RecordingPorts ports;
    const Outcome outcome = queue.run(ports);
    ASSERT_FALSE(outcome.error) << outcome.error->reason;
    EXPECT_THAT(ports.seen, ElementsAre("write 10 4080", "wait send", "wait send many",
                                        "write 23 c000", "wait recv", "read 22", "wait recv many",
                                        "read 22", "wait done", "read 31"));
    EXPECT_EQ(status_of(outcome), 6);
    EXPECT_EQ(queue.block().tbcIMblock[0], 100);
    EXPECT_EQ(queue.block().tbcIMblock[1], 101);
    EXPECT_EQ(queue.block().tbcIMblock[2], 102);
    EXPECT_EQ(queue.block().tbcIMblock[3], 0);
}

TEST(DecoderTest, EveryPortFrom0To31IsReached) {
    for (unsigned port = 0; port <= 31; ++port) {
        TextQueue queue;
        queue.text(("write " + std::to_string(port) + " 5555").c_str());
        queue.read(static_cast<uint16_t>(port));
        RecordingPorts ports;
        EXPECT_EQ(status_of(queue.run(ports)), 2);
        EXPECT_THAT(ports.seen, ElementsAre("write " + std::to_string(port) + " 5555",
                                            "read " + std::to_string(port)));
    }
}

TEST(DecoderTest, ReadsOfSeveralRunsAreOneResult) {
    for (const int count : {2047, 2048, 2049, 4096, 5000}) {
        TextQueue queue;
        queue.reads(16, count);
        RecordingPorts ports;
        const Outcome outcome = queue.run(ports);
        ASSERT_FALSE(outcome.error) << count << ": " << outcome.error->reason;
        EXPECT_EQ(status_of(outcome), 2 * count);
        EXPECT_EQ(queue.block().tbcIMblock[count - 1], 100 + count - 1);
    }
}

// A batch that must fail at `index` with `reason`, after `executed` accesses.
void expect_failure(TextQueue& queue, size_t index, const std::string& reason,
                    std::vector<std::string> executed = {}) {
    RecordingPorts ports;
    const Outcome outcome = queue.run(ports);
    ASSERT_TRUE(outcome.error) << reason;
    EXPECT_EQ(outcome.error->reason, reason);
    EXPECT_EQ(outcome.error->index, index) << reason;
    EXPECT_EQ(ports.seen, executed) << reason;
    EXPECT_LT(status_of(outcome), 0);
}

TEST(DecoderTest, AWordThatMeansNothingFailsTheBatchBeforeItHasAnEffect) {
    for (const uint16_t word :
         std::to_array<uint16_t>({0x8001, 0x9010, 0x9012, 0xBFFF, 0xC001, 0xC7FE, 0xFFFF})) {
        TextQueue queue;
        queue.text("write 4 1234").word(word).write(5, 1);
        expect_failure(queue, 4, "an unknown control word", {"write 4 1234"});
    }
}

TEST(DecoderTest, AWriteWithoutItsValueFails) {
    TextQueue queue;
    queue.text("write 4 1234").word(0x4005);
    expect_failure(queue, 4, "a write without its value", {"write 4 1234"});
}

TEST(DecoderTest, APortAbove31Fails) {
    for (const uint16_t word : std::to_array<uint16_t>({0x0020, 0x0040, 0x3FFF, 0x4020, 0x7FFF})) {
        TextQueue queue;
        queue.word(word).word(0);
        expect_failure(queue, 2, "a port above 31");
    }
}

TEST(DecoderTest, ARefusedAccessFailsTheBatchWithItsReason) {
    for (const char* access : {"write 4 1234", "read 22", "wait done"}) {
        TextQueue queue;
        queue.text("write 1 1").text(access).text("write 2 1");
        RecordingPorts ports;
        ports.refuse = access;
        const Outcome outcome = queue.run(ports);
        ASSERT_TRUE(outcome.error) << access;
        EXPECT_EQ(outcome.error->reason, "refused on purpose");
        EXPECT_EQ(outcome.error->index, 4U);
        EXPECT_THAT(ports.seen, ElementsAre("write 1 0001"));
        EXPECT_EQ(ports.settled, 0);
    }
}

TEST(DecoderTest, TheEndOfABatchSettlesTheController) {
    TextQueue queue;
    queue.text("write 1 1");
    RecordingPorts ports;
    EXPECT_FALSE(queue.run(ports).error);
    EXPECT_EQ(ports.settled, 1);
    ports.refuse = "settle";
    const Outcome outcome = queue.run(ports);
    ASSERT_TRUE(outcome.error);
    EXPECT_EQ(outcome.error->reason, "refused on purpose");
    EXPECT_EQ(outcome.error->index, 4U);
}

TEST(DecoderTest, ALengthThatNoBatchHasFailsBeforeAnything) {
    TextQueue queue;
    queue.text("write 4 1234");
    queue.block().tbcMblockPtr = SHM_BLOCK_WORDS + 1;
    expect_failure(queue, SHM_BLOCK_WORDS, "a batch of 131073 words is longer than the block");
    queue.block().tbcMblockPtr = 0xFFFFFFFF;
    expect_failure(queue, SHM_BLOCK_WORDS, "a batch of 4294967295 words is longer than the block");
    queue.block().tbcMblockPtr = 1;
    expect_failure(queue, 1, "a batch of 1 words lacks the two words that every batch begins with");
    queue.block().tbcMblockPtr = 0;
    expect_failure(queue, 0, "a batch of 0 words lacks the two words that every batch begins with");
}

TEST(DecoderTest, TheTwoWordsOfAnEmptyBatchMustBeginEveryBatch) {
    TextQueue queue;
    queue.text("write 4 1234");
    queue.block().tbcOMblock[1] = 16;
    expect_failure(queue, 1, "a read-count marker must stand here");
    queue.block().tbcOMblock[1] = SHM_MARKER_OPEN;
    queue.block().tbcOMblock[0] = 0x4004;
    expect_failure(queue, 0, "the reserved word is not the first");
}

TEST(DecoderTest, AMarkerStandsOnlyWhereTheReadCountSays) {
    TextQueue early;
    early.read(16).word(SHM_MARKER_OPEN);
    expect_failure(early, 3, "a marker after 1 reads of a run", {"read 16"});

    TextQueue moved;
    moved.text("write 1 1");
    moved.block().lastWCNTR = 2;
    expect_failure(moved, 1, "an open marker that is not the last one");

    TextQueue closed;
    closed.text("write 1 1");
    closed.block().tbcOMblock[1] = SHM_MARKER_FULL;
    expect_failure(closed, 1, "the last marker is closed");
}

TEST(DecoderTest, AFullRunNeedsAClosedMarkerBeforeItAndAMarkerAfterIt) {
    TextQueue unclosed;
    unclosed.reads(16, 2048);
    unclosed.block().tbcOMblock[1] = SHM_MARKER_OPEN;
    unclosed.block().lastWCNTR = 1;
    RecordingPorts ports;
    const Outcome outcome = unclosed.run(ports);
    ASSERT_TRUE(outcome.error);
    EXPECT_EQ(outcome.error->reason, "a full run of reads whose marker was not closed");
    EXPECT_EQ(outcome.error->index, 2U + 2047U);
    EXPECT_EQ(ports.seen.size(), 2047U);

    TextQueue missing;
    missing.reads(16, 2048).write(1, 1);
    missing.block().tbcOMblock[2 + 2048] = 0x4001;
    RecordingPorts others;
    const Outcome second = missing.run(others);
    ASSERT_TRUE(second.error);
    EXPECT_EQ(second.error->reason, "a read-count marker must stand here");
    EXPECT_EQ(second.error->index, 2U + 2048U);
    EXPECT_EQ(others.seen.size(), 2048U);
}

TEST(DecoderTest, ABatchThatCountsOtherReadsThanItHoldsFails) {
    TextQueue queue;
    queue.read(16);
    queue.block().rdCntrGbl = 2;
    expect_failure(queue, 3,
                   "the batch holds 1 reads, 1 of them since its open marker, and counts 2 and 1",
                   {"read 16"});
    queue.block().rdCntrGbl = 1;
    queue.block().rdCntrLcl = 0;
    expect_failure(queue, 3,
                   "the batch holds 1 reads, 1 of them since its open marker, and counts 1 and 0",
                   {"read 16"});
    queue.block().rdCntrLcl = 1;
    queue.block().useZeroOfs = 1;
    expect_failure(queue, 3, "the batch is marked wrongly as to whether it closed a marker",
                   {"read 16"});
}

TEST(DecoderTest, AReadPastTheInBlockFailsBeforeItIsMade) {
    TextQueue queue;
    queue.reads(16, 3);
    RecordingPorts ports;
    uint16_t in[3] = {7, 7, 7};
    const Outcome outcome = queue.run(ports, std::span(in, 2));
    ASSERT_TRUE(outcome.error);
    EXPECT_EQ(outcome.error->reason, "a read that would overflow the in-block");
    EXPECT_EQ(outcome.error->index, 4U);
    EXPECT_EQ(ports.seen.size(), 2U);
    EXPECT_EQ(in[2], 7);
    RecordingPorts more;
    EXPECT_EQ(status_of(queue.run(more, in)), 6);
}

TEST(DecoderTest, AStopEndsTheBatchAtItsNextWord) {
    TextQueue queue;
    queue.text("write 1 1; write 2 2");
    RecordingPorts ports;
    ports.stop_after_access = &queue.stop;
    const Outcome outcome = queue.run(ports);
    ASSERT_TRUE(outcome.error);
    EXPECT_EQ(outcome.error->reason, "the pod is being stopped");
    EXPECT_THAT(ports.seen, ElementsAre("write 1 0001"));
}

} // namespace
} // namespace talvor::podsim::batch
