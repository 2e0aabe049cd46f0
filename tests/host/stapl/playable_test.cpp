#include "host/play/performance.h"
#include "host/stapl/playable.h"
#include "tests/host/stapl/played_program.h"

#include <gtest/gtest.h>

namespace talvor::stapl {
namespace {

const std::string kText = "ACTION ONE = MAIN, MORE OPTIONAL;\nACTION TWO = MAIN;\n"
                          "PROCEDURE MAIN;\nINTEGER N = 2;\nBOOLEAN B[9] = $1A5;\n"
                          "PRINT \"n \", N;\nEXPORT \"N\", N;\nEXPORT \"B\", B[];\nENDPROC;\n"
                          "PROCEDURE MORE;\nPRINT \"more\";\nEXIT 3;\nENDPROC;\n";

class PlayableTest : public ::testing::Test {
protected:
    Result<std::unique_ptr<Playable>> open(const std::string& text,
                                           const PlayableOptions& options = {},
                                           std::function<bool()> hook = {}) {
        play::TextSource source(text, "a.stapl");
        return Playable::open(source, port_, options, std::move(hook));
    }
    std::string fault(const std::string& text, const PlayableOptions& options = {}) {
        return headline(open(text, options).error());
    }
    // Checks and plays it.
    ProgramRun run(const PlayableOptions& options) {
        const auto program = open(kText, options).value();
        ProgramRun run;
        play::Performer performer(program->steps(), performance_);
        EXPECT_TRUE(performer.check({}));
        EXPECT_TRUE(run.printed.empty()) << "a rehearsal says nothing";
        program->perform(run.listener([this](std::string_view text) { seen_ += text; }));
        EXPECT_TRUE(performer.play(port_, {}));
        program->tell(run, true);
        return run;
    }

    svf::RecordingPort port_;
    play::Performance performance_;
    std::string seen_;
};

TEST_F(PlayableTest, RunsWhatWasChosenAndKeepsWhatItSays) {
    PlayableOptions options;
    options.choices = {"one", {"MORE"}, {}, {"N=7"}};
    const ProgramRun done = run(options);
    EXPECT_EQ(done.action, "ONE");
    EXPECT_EQ(done.outcome.value().code, 3);
    EXPECT_GT(done.statements, 3U);
    EXPECT_EQ(done.printed, (Lines{"n 7", "more"}));
    EXPECT_EQ(seen_, "n 7more");
    ASSERT_EQ(done.exports.size(), 2U);
    EXPECT_EQ(done.exports[0].key, "N");
    EXPECT_EQ(std::get<int32_t>(done.exports[0].value), 7);
    EXPECT_EQ(std::get<Bits>(done.exports[1].value), Bits::from_uint(0x1A5, 9));
    EXPECT_EQ(play::first_error(performance_, "a.stapl"), performance_.played->verdict);
}

TEST_F(PlayableTest, WhatWasOnlyCheckedHasNoOutcome) {
    PlayableOptions options;
    options.choices.action = "TWO";
    const auto program = open(kText, options).value();
    EXPECT_TRUE(play::Performer(program->steps(), performance_).check({}, false));
    ProgramRun run;
    program->tell(run, false);
    EXPECT_EQ(run.action, "TWO");
    EXPECT_EQ(run.outcome, std::nullopt);
    EXPECT_FALSE(run.open_ended);
}

TEST_F(PlayableTest, KeepsNoMoreThanTheFirstOfWhatItSays) {
    ProgramRun run;
    const Listener listener = run.listener({});
    for (size_t i = 0; i <= ProgramRun::kListed; ++i) {
        listener.print("text");
        listener.number("N", 1);
    }
    EXPECT_EQ(run.printed.size(), ProgramRun::kListed);
    EXPECT_EQ(run.exports.size(), ProgramRun::kListed);
}

TEST_F(PlayableTest, MistakesAreNamed) {
    EXPECT_EQ(fault(kText), "a.stapl: it has 2 actions");
    PlayableOptions options;
    options.choices.action = "BLINK";
    EXPECT_EQ(fault(kText, options), "BLINK: a.stapl has no such action");
    const Result<std::unique_ptr<Playable>> stopped =
        open(kText + std::string(1 << 20, ' '), {}, [] { return false; });
    EXPECT_EQ(stopped.error().kind, ErrorKind::Usage);
}

TEST_F(PlayableTest, AWrongChecksumIsAnErrorUnlessItIsToBeIgnored) {
    const std::string text = kText + "CRC 0000;\n";
    PlayableOptions options;
    options.choices.action = "TWO";
    const Error error = open(text, options).error();
    EXPECT_EQ(error.kind, ErrorKind::BadFile);
    EXPECT_NE(error.reason.find("it says 0000: it was changed or damaged"), std::string::npos);
    EXPECT_EQ(error.next_step, "get it again, or play it as it is with --ignore-crc");
    options.ignore_crc = true;
    EXPECT_TRUE(open(text, options));
}

TEST_F(PlayableTest, ChoicesAreForProgramsOnly) {
    PlayableOptions options;
    options.strict = true; // any format's
    EXPECT_TRUE(check_no_choices(options, "a.svf", "SVF"));
    options.choices.values = {"N=1"};
    const Status status = check_no_choices(options, "a.svf", "SVF");
    EXPECT_EQ(headline(status.error()),
              "a.svf: it is an SVF file, which has no actions and variables");
    EXPECT_EQ(status.error().next_step, "leave the options of STAPL away");
    options = {};
    options.ignore_crc = true;
    EXPECT_FALSE(check_no_choices(options, "a.svf", "SVF"));
}

} // namespace
} // namespace talvor::stapl
