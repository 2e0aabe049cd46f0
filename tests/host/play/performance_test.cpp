#include "host/play/performance.h"
#include "tests/host/svf/recording_port.h"

#include <gtest/gtest.h>

#include <array>
#include <string>
#include <vector>

namespace talvor::play {
namespace {

// A scan of four bits that are to come back as `expected`, behind as many statements as `refused`
// has, each of which cannot be played.
class Steps final : public StepSource {
public:
    Bits expected = Bits::from_uint(0x5, 4);
    std::vector<ErrorKind> refused;
    bool same = true; // each time
    std::optional<Error> complaint;
    int rewinds = 0;

    Status rewind() override {
        ++rewinds;
        at_ = 0;
        return {};
    }
    Result<bool> next(Step& step) override {
        if (at_ > refused.size()) {
            return false;
        }
        step = {};
        step.line = at_ + 1;
        if (at_ < refused.size()) {
            step.refusal = {refused[at_], 0, "a:" + std::to_string(step.line), "no", "go on"};
        } else {
            step.kind = Step::Kind::Scan;
            step.scan.parts[1] = {0, 4, out_.words().data(), expected.words().data(), nullptr};
            step.scan.total_bits = 4;
        }
        ++at_;
        return true;
    }
    [[nodiscard]] bool fixed() const override { return same; }
    [[nodiscard]] std::optional<Error> verdict() const override { return complaint; }
    [[nodiscard]] uint64_t bytes_taken() const override { return at_; }
    [[nodiscard]] uint64_t line() const override { return at_ + 1; }
    [[nodiscard]] uint64_t total_bytes() const override { return refused.size() + 1; }
    [[nodiscard]] const std::string& name() const override { return name_; }
    [[nodiscard]] std::span<const std::string_view> statements() const override { return kNames; }
    void on_chunk(std::function<bool()>) override {}

private:
    static constexpr std::array<std::string_view, 1> kNames{"SCAN"};
    std::string name_ = "a";
    Bits out_ = Bits::from_uint(0x5, 4);
    size_t at_ = 0;
};

class PerformanceTest : public ::testing::Test {
protected:
    bool check_and_play() {
        Performer performer(steps_, performance_);
        return performer.check({}) && performer.play(port_, {});
    }
    [[nodiscard]] std::optional<Error> error() const { return first_error(performance_, "a"); }

    const std::vector<std::string> whole_{"reset", "dr 4 5 receive IDLE", "flush"};
    Steps steps_;
    svf::RecordingPort port_;
    Performance performance_;
};

TEST_F(PerformanceTest, PlaysWhatWasCheckedWithoutReadingItAgain) {
    EXPECT_TRUE(check_and_play());
    EXPECT_EQ(port_.log, whole_);
    EXPECT_EQ(steps_.rewinds, 1);
    EXPECT_TRUE(performance_.checked->can_be_played());
    EXPECT_TRUE(performance_.played->complete);
    EXPECT_EQ(error(), std::nullopt);
    EXPECT_EQ(failed_answer(performance_), nullptr);
}

TEST_F(PerformanceTest, ReadsAgainWhatIsNotTheSameEachTime) {
    steps_.same = false;
    EXPECT_TRUE(check_and_play());
    EXPECT_EQ(port_.log, whole_);
    EXPECT_EQ(steps_.rewinds, 2);
}

TEST_F(PerformanceTest, ReadsAgainWhatDoesNotFitIntoThePlan) {
    Performer performer(steps_, performance_, 0);
    EXPECT_TRUE(performer.check({}) && performer.play(port_, {}));
    EXPECT_EQ(port_.log, whole_);
    EXPECT_EQ(steps_.rewinds, 2);
}

TEST_F(PerformanceTest, PlaysTheFileWhereTheCheckKeptNothing) {
    Performer performer(steps_, performance_);
    EXPECT_TRUE(performer.check({}, false));
    EXPECT_TRUE(port_.log.empty());
    EXPECT_TRUE(performer.play(port_, {}));
    EXPECT_EQ(port_.log, whole_);
    EXPECT_EQ(steps_.rewinds, 2);
}

TEST_F(PerformanceTest, PlaysWithoutACheck) {
    EXPECT_TRUE(Performer(steps_, performance_).play(port_, {}));
    EXPECT_EQ(port_.log, whole_);
    EXPECT_EQ(performance_.checked, std::nullopt);
}

TEST_F(PerformanceTest, ChecksAnewWhatIsCheckedTwice) {
    Performer performer(steps_, performance_);
    EXPECT_TRUE(performer.check({}));
    EXPECT_TRUE(performer.check({}));
    EXPECT_TRUE(performer.play(port_, {}));
    EXPECT_EQ(port_.log, whole_);
}

TEST_F(PerformanceTest, OneRefusalIsTheErrorItself) {
    steps_.refused = {ErrorKind::Refused};
    EXPECT_FALSE(check_and_play());
    EXPECT_TRUE(port_.log.empty());
    EXPECT_EQ(performance_.played, std::nullopt);
    EXPECT_EQ(error(), (Error{ErrorKind::Refused, 0, "a:1", "no", "go on"}));
}

TEST_F(PerformanceTest, OfMoreRefusalsTheErrorTellsHowManyAndTheFirst) {
    steps_.refused = {ErrorKind::Refused, ErrorKind::Refused};
    EXPECT_FALSE(check_and_play());
    EXPECT_EQ(error(), (Error{ErrorKind::Refused, 0, "a",
                              "2 statements cannot be played; the first: a:1: no", "go on"}));
}

TEST_F(PerformanceTest, OneBadStatementMakesTheFileBad) {
    steps_.refused = {ErrorKind::Refused, ErrorKind::BadFile, ErrorKind::Refused};
    EXPECT_FALSE(check_and_play());
    EXPECT_EQ(error()->kind, ErrorKind::BadFile);
}

TEST_F(PerformanceTest, AStoppedCheckIsNoCheck) {
    Performer performer(steps_, performance_);
    EXPECT_FALSE(performer.check([](const Progress&) { return false; }));
    EXPECT_EQ(performance_.checked, std::nullopt);
    EXPECT_EQ(error()->kind, ErrorKind::Usage);
}

TEST_F(PerformanceTest, TheFirstWrongAnswerIsTheErrorThoughThePlayingWentWell) {
    port_.answers = {"4"};
    EXPECT_TRUE(check_and_play());
    ASSERT_NE(failed_answer(performance_), nullptr);
    EXPECT_EQ(error(), to_error(*failed_answer(performance_), "a"));
    EXPECT_EQ(error()->kind, ErrorKind::Target);
}

TEST_F(PerformanceTest, WhatEndedThePlayingComesBeforeAWrongAnswer) {
    port_.answers = {"4"};
    port_.failing = "flush";
    Performer performer(steps_, performance_);
    PlayOptions options;
    options.keep_going = true;
    EXPECT_TRUE(performer.check({}));
    EXPECT_FALSE(performer.play(port_, options));
    EXPECT_EQ(performance_.played->mismatches, 1U) << "the report tells how far it came";
    EXPECT_EQ(error(), performance_.error);
    EXPECT_EQ(failed_answer(performance_), nullptr);
}

TEST_F(PerformanceTest, WhatTheFileItselfSaysComesLast) {
    steps_.same = false; // a plan has no opinion
    steps_.complaint = target_error("a", "it failed").value();
    EXPECT_TRUE(check_and_play());
    EXPECT_EQ(error(), steps_.complaint);
}

} // namespace
} // namespace talvor::play
