// What a program asks of the TAP.
#include "host/stapl/reader.h"
#include "tests/host/stapl/played_program.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace talvor::stapl {
namespace {

using testing::HasSubstr;

Lines asked(std::string_view body) {
    const Played result = played_body(body);
    EXPECT_EQ(result.error, "") << body;
    return result.asked;
}

TEST(StaplReaderTest, ScansInstructionsAndData) {
    EXPECT_EQ(asked("IRSCAN 6, $2A; DRSCAN 12, $A5C; DRSCAN 3, #101;\nDRSCAN 40, $3;"),
              (Lines{"ir 6 2A IDLE", "dr 12 A5C IDLE", "dr 3 5 IDLE", "dr 40 0000000003 IDLE"}));
}

TEST(StaplReaderTest, ScansStretchesOfArrays) {
    EXPECT_EQ(
        asked("BOOLEAN a[24] = $123456; INTEGER i = 2;\n"
              "DRSCAN 24, a[]; DRSCAN 8, a[15..8]; DRSCAN 4, a[i * 2 + 3..4];\n"
              "DRSCAN 4, a[0..3]; DRSCAN 8, BOOL(300);"),
        (Lines{"dr 24 123456 IDLE", "dr 8 34 IDLE", "dr 4 5 IDLE", "dr 4 6 IDLE", "dr 8 2C IDLE"}));
}

TEST(StaplReaderTest, EndsWhereIrStopAndDrStopSay) {
    EXPECT_EQ(asked("IRSTOP IRPAUSE; DRSTOP DRPAUSE; IRSCAN 4, $5; DRSCAN 4, $A; DRSTOP RESET;\n"
                    "DRSCAN 4, $3; IRSTOP IDLE; IRSCAN 4, $2;"),
              (Lines{"ir 4 5 IRPAUSE", "dr 4 A DRPAUSE", "dr 4 3 RESET", "ir 4 2 IDLE"}));
}

TEST(StaplReaderTest, PutsBitsBeforeAndBehind) {
    EXPECT_EQ(asked("PREDR 4, $A; POSTDR 2; PREIR 3; POSTIR 5, #00001;\nDRSCAN 8, $00;\n"
                    "IRSCAN 4, $0;\nPREDR 0; POSTDR 0;\nDRSCAN 4, $6;"),
              (Lines{"dr 14 300A IDLE", "ir 12 087 IDLE", "dr 4 6 IDLE"}));
}

TEST(StaplReaderTest, CapturesWhatComesAndGoesOnWithIt) {
    svf::RecordingPort port;
    port.answers = {"1C91", "C"};
    const Played result =
        played(with_body("BOOLEAN id[32]; INTEGER n;\nDRSCAN 16, $0000, CAPTURE id[23..8];\n"
                         "n = INT(id[23..8]) + 1;\nDRSCAN 16, BOOL(n);\nPREDR 1; POSTDR 1;\n"
                         "DRSCAN 2, $0, CAPTURE id[1..0];\nEXPORT \"ID\", id[];"),
               port);
    EXPECT_EQ(result.error, "");
    EXPECT_EQ(result.asked,
              (Lines{"dr 16 0000 receive IDLE", "dr 16 1C92 IDLE", "dr 4 9 receive IDLE"}));
    EXPECT_EQ(result.printed, (Lines{"ID = 32:001C9102"})) << "without header and trailer";
}

TEST(StaplReaderTest, ACaptureTheOtherWayRoundTurnsTheBits) {
    svf::RecordingPort port;
    port.answers = {"1"};
    EXPECT_EQ(
        played(with_body("BOOLEAN a[4];\nDRSCAN 4, $0, CAPTURE a[0..3];\nPRINT INT(a[]);"), port)
            .printed,
        (Lines{"8"}));
}

TEST(StaplReaderTest, ComparesUnderTheMask) {
    svf::RecordingPort port;
    port.answers = {"A5", "A6", "5", "5"};
    const Played result = played(
        with_body("BOOLEAN ok; BOOLEAN a[8];\nDRSCAN 8, $00, COMPARE $A5, $FF, ok; PRINT ok;\n"
                  "DRSCAN 8, $00, COMPARE $A5, $FC, ok; PRINT ok;\n"
                  "IRSCAN 4, $0, COMPARE $4, $F, ok; PRINT ok;\n"
                  "IRSCAN 4, $0, CAPTURE a[3..0], COMPARE $5, $F, ok; PRINT ok, INT(a[]);"),
        port);
    EXPECT_EQ(result.error, "");
    EXPECT_EQ(result.printed, (Lines{"1", "1", "0", "15"}));
}

TEST(StaplReaderTest, AWrongAnswerIsNamedWhenTheProgramEndsBadly) {
    svf::RecordingPort port;
    port.answers = {"A6"};
    const Played result = played(with_body("BOOLEAN ok;\nDRSCAN 8, $00, COMPARE $A5, $FF, ok;\n"
                                           "IF !ok THEN EXIT 11;"),
                                 port);
    EXPECT_EQ(result.error,
              "a.stapl:5: EXIT 11: verifying failed; the last comparison that failed: a.stapl:4: "
              "DRSCAN: 2 of 8 bits differ, at 0, 1: expected A5, got A6, mask FF");
}

TEST(StaplReaderTest, WhatDoesNotFitAScanIsNamed) {
    const auto fault = [](const char* body) { return played_body(body).error; };
    EXPECT_EQ(fault("DRSCAN 0, $0;"), "a.stapl:3: DRSCAN: 0 bits cannot be shifted");
    EXPECT_EQ(fault("DRSCAN -1, $0;"), "a.stapl:3: DRSCAN: -1 bits cannot be shifted");
    EXPECT_EQ(fault("BOOLEAN a[8]; DRSCAN 9, a[];"),
              "a.stapl:3: DRSCAN: the data has 8 bits, and 9 are to be shifted");
    EXPECT_EQ(fault("BOOLEAN a[8]; DRSCAN 9, $0, CAPTURE a[];"),
              "a.stapl:3: DRSCAN: the array to capture into has 8 bits, and 9 are to be shifted");
    EXPECT_EQ(fault("BOOLEAN b; DRSCAN 9, $0, COMPARE $00, $000, b;"),
              "a.stapl:3: DRSCAN: what is expected has 8 bits, and 9 are to be shifted");
    EXPECT_EQ(fault("BOOLEAN b; DRSCAN 9, $0, COMPARE $000, $00, b;"),
              "a.stapl:3: DRSCAN: the mask has 8 bits, and 9 are to be shifted");
    EXPECT_EQ(fault("PREDR -1;"), "a.stapl:3: PREDR: there cannot be -1 bits");
}

TEST(StaplReaderTest, GoesAlongStates) {
    EXPECT_EQ(asked("STATE IDLE; STATE DRPAUSE; STATE IRPAUSE; STATE RESET; STATE RESET;"),
              (Lines{"move IDLE", "move DRPAUSE", "move IRPAUSE", "reset", "reset"}));
    EXPECT_EQ(asked("STATE RESET, IDLE; STATE RESET IDLE;"),
              (Lines{"reset", "move IDLE", "reset", "move IDLE"}));
    EXPECT_EQ(asked("STATE IDLE; STATE IDLE; STATE DRPAUSE; STATE DRPAUSE;"),
              (Lines{"move IDLE", "run IDLE 1 0ns", "move DRPAUSE"}))
        << "where it stands it stays, which only Run-Test/Idle counts";
    EXPECT_EQ(asked("STATE IDLE; STATE DRSELECT, DRCAPTURE, DREXIT1, DRPAUSE;\n"
                    "STATE DREXIT2, DRUPDATE, IDLE;"),
              (Lines{"move IDLE", "move DRPAUSE", "move IDLE"}))
        << "through states that are not stable it goes by a road that is the same";
    EXPECT_EQ(asked("STATE IDLE; STATE DRCAPTURE; STATE DREXIT1; STATE DRPAUSE;"),
              (Lines{"move IDLE", "move DRPAUSE"}))
        << "a road may have its states in several statements";
    EXPECT_EQ(asked("STATE IDLE; STATE DREXIT1; DRSCAN 4, $5;"),
              (Lines{"move IDLE", "move DRPAUSE", "dr 4 5 IDLE"}))
        << "a scan begins in the Pause state of the column";
}

TEST(StaplReaderTest, RefusesARoadThatThePodLacks) {
    EXPECT_EQ(played_body("STATE IDLE; STATE DRSHIFT; STATE DRPAUSE;").error,
              "a.stapl:3: STATE: the pod has no road with the same captures and updates");
}

TEST(StaplReaderTest, Waits) {
    EXPECT_EQ(asked("WAIT 10 CYCLES; WAIT 5 USEC; WAIT 3 CYCLES, 7 USEC; WAIT 7 USEC, 3 CYCLES;\n"
                    "WAIT DRPAUSE, 2 USEC; WAIT IRPAUSE, 1 USEC, IDLE;\n"
                    "WAIT IDLE, 1 CYCLES, DRPAUSE, MAX 9 USEC; WAIT 1 CYCLES MAX 5 CYCLES;"),
              (Lines{"run IDLE 10 0ns", "run IDLE 0 5000ns", "run IDLE 3 7000ns",
                     "run IDLE 3 7000ns", "run DRPAUSE 0 2000ns", "run IRPAUSE 0 1000ns",
                     "move IDLE", "run IDLE 1 0ns", "move DRPAUSE", "run IDLE 1 0ns"}));
    EXPECT_EQ(played_body("INTEGER i = -4; WAIT i USEC;").error,
              "a.stapl:3: WAIT: it cannot last -4");
}

TEST(StaplReaderTest, ClocksThatAreNotCountedBecomeTime) {
    svf::RecordingPort port;
    port.full_hertz = 1e6;
    EXPECT_EQ(played(with_body("WAIT DRPAUSE, 25 CYCLES;"), port).asked,
              (Lines{"run DRPAUSE 0 25000ns"}));
    svf::RecordingPort exact;
    exact.full_hertz = 1e6;
    HowToPlay how;
    how.reader.strict = true;
    EXPECT_THAT(played(with_body("WAIT DRPAUSE, 25 CYCLES;"), exact, how).error,
                HasSubstr("WAIT: 25 clocks in Pause-DR"));
}

TEST(StaplReaderTest, HoldsOrPulsesTrst) {
    svf::RecordingPort holds;
    holds.full_hertz = 1e6;
    EXPECT_EQ(played(with_body("TRST 10 CYCLES, 3 USEC; DRSCAN 4, $5;"), holds).asked,
              (Lines{"trst on", "run RESET 0 10000ns", "trst off", "dr 4 5 IDLE"}));
    svf::RecordingPort pulses;
    pulses.holds_trst = false;
    pulses.pulses_trst = true;
    EXPECT_EQ(played(with_body("TRST 3 USEC; DRSCAN 4, $5;"), pulses).asked,
              (Lines{"trst pulse", "reset", "dr 4 5 IDLE"}));
    svf::RecordingPort none;
    none.has_trst = false;
    EXPECT_THAT(played(with_body("TRST 3 USEC;"), none).error, HasSubstr("TRST: TRST"));
}

TEST(StaplReaderTest, SetsTheClock) {
    EXPECT_EQ(asked("FREQUENCY 1000000; FREQUENCY 1000000; FREQUENCY 2 * 1000; FREQUENCY;"),
              (Lines{"hertz 1000000", "hertz 2000", "hertz full"}));
    EXPECT_EQ(played_body("FREQUENCY 0;").error,
              "a.stapl:3: FREQUENCY: the test clock cannot have 0 Hz");
}

TEST(StaplReaderTest, ParallelPinsAreRefusedWhereTheyAreReached) {
    EXPECT_EQ(played_body("IF 1 == 2 THEN VECTOR $1, $2;").error, "");
    EXPECT_EQ(played_body("VMAP \"A\", \"B\";").error,
              "a.stapl:3: VMAP: a JTAG pod has no parallel pins to drive or read");
}

// ---- the pass that shifts nothing ---------------------------------------------------------------

play::CheckReport checked(const std::string& body, bool& open_ended,
                          const svf::RecordingPort& port = {}, uint64_t most = 10'000) {
    const std::string text = with_body(body);
    play::TextSource source(text, "a.stapl");
    const Program program = compile(source).value();
    ReaderOptions options;
    options.max_rehearsed_statements = most;
    Reader reader(program, select(program, {}).value(), port, options);
    const play::CheckReport report = play::check(reader).value();
    open_ended = reader.open_ended();
    return report;
}

TEST(StaplRehearsalTest, TakesForGrantedThatComparisonsHold) {
    bool open = false;
    const play::CheckReport report =
        checked("BOOLEAN ok; BOOLEAN a[8];\nDRSCAN 8, $00, CAPTURE a[], COMPARE $A5, $FF, ok;\n"
                "IF ok THEN DRSCAN INT(a[]), $0;\nIF !ok THEN TRST 1 USEC;",
                open);
    EXPECT_TRUE(report.can_be_played());
    EXPECT_FALSE(open);
    EXPECT_EQ(report.summary.dr_scans, 2U);
    EXPECT_EQ(report.summary.dr_bits, 8U + 0xA5);
    EXPECT_EQ(report.summary.compared_scans, 1U);
}

TEST(StaplRehearsalTest, PrintsNothing) {
    const std::string text = with_body("PRINT \"x\";");
    play::TextSource source(text, "a.stapl");
    const Program program = compile(source).value();
    const svf::RecordingPort port;
    Reader reader(program, select(program, {}).value(), port);
    EXPECT_TRUE(play::check(reader).value().can_be_played())
        << "and a program that moves no TAP is no wrong file";
    Lines printed;
    reader.perform(listener_of(printed));
    EXPECT_TRUE(printed.empty());
    svf::RecordingPort other;
    EXPECT_TRUE(play::Player(other, {}).play(reader));
    EXPECT_EQ(printed, (Lines{"x"}));
}

TEST(StaplRehearsalTest, ListsWhatThePodCannotDo) {
    bool open = false;
    svf::RecordingPort port;
    port.longest_scan = 10;
    const play::CheckReport report =
        checked("DRSCAN 11, $0; DRSCAN 10, $0; IRSCAN 12, $0;", open, port);
    ASSERT_EQ(report.refusals.size(), 2U);
    EXPECT_EQ(headline(report.refusals[0]), "a.stapl:3: DRSCAN: a scan of 11 bits: too long");
    EXPECT_EQ(headline(report.refusals[1]), "a.stapl:3: IRSCAN: a scan of 12 bits: too long");
}

TEST(StaplRehearsalTest, EndsWhereItDependsOnAnswers) {
    bool open = false;
    EXPECT_TRUE(checked("BOOLEAN a[8];\nwait: DRSCAN 8, $0, CAPTURE a[];\n"
                        "IF INT(a[]) == 0 THEN GOTO wait;",
                        open)
                    .can_be_played());
    EXPECT_TRUE(open) << "it would wait forever for an answer";
    EXPECT_TRUE(checked("BOOLEAN a[8];\nDRSCAN 8, $0, CAPTURE a[];\nWAIT 1 / INT(a[]) USEC;", open)
                    .can_be_played());
    EXPECT_TRUE(open) << "a fault behind an answer may be none";
    EXPECT_FALSE(checked("DRSCAN 8, $0;\nWAIT 1 / 0 USEC;", open).can_be_played());
    EXPECT_FALSE(open);
    EXPECT_TRUE(checked("a: WAIT 1 USEC; GOTO a;", open).can_be_played());
    EXPECT_TRUE(open);
}

TEST(StaplReaderTest, IsPlayedAgainFromItsStart) {
    const std::string text = with_body("INTEGER i;\ni = i + 1; DRSTOP DRPAUSE; PREDR i;\n"
                                       "DRSCAN 4, $5;\nEXIT i;");
    play::TextSource source(text, "a.stapl");
    const Program program = compile(source).value();
    svf::RecordingPort port;
    Reader reader(program, select(program, {}).value(), port);
    reader.perform({});
    play::Player player(port, {});
    for (int i = 0; i < 2; ++i) {
        port.log.clear();
        EXPECT_TRUE(player.play(reader));
        EXPECT_EQ(port.log, (Lines{"reset", "dr 5 0B DRPAUSE", "flush"}));
        EXPECT_EQ(reader.outcome().code, 1);
        EXPECT_EQ(reader.outcome().line, 6U);
    }
}

TEST(StaplReaderTest, TellsHowFarItIsAsTheProgramSays) {
    const std::string text =
        with_body("EXPORT \"PERCENT_DONE\", 50; WAIT 1 USEC; EXPORT \"PERCENT_DONE\", 20;\n"
                  "WAIT 1 USEC; EXPORT \"PERCENT_DONE\", 900; WAIT 1 USEC;");
    play::TextSource source(text, "a.stapl");
    const Program program = compile(source).value();
    const svf::RecordingPort port;
    Reader reader(program, select(program, {}).value(), port);
    play::Step step;
    std::vector<uint64_t> taken;
    ASSERT_TRUE(reader.rewind());
    while (reader.next(step).value()) {
        taken.push_back(reader.bytes_taken());
    }
    EXPECT_EQ(taken, (std::vector<uint64_t>{text.size() / 2, text.size() / 2, text.size()}));
    EXPECT_EQ(reader.total_bytes(), text.size());
}

TEST(StaplReaderTest, ALoopThatMovesNoTapCanBeStopped) {
    const std::string text = with_body("a: GOTO a;");
    play::TextSource source(text, "a.stapl");
    const Program program = compile(source).value();
    svf::RecordingPort port;
    Reader reader(program, select(program, {}).value(), port);
    reader.perform({});
    int left = 3;
    play::PlayOptions options;
    options.progress = [&left](const play::Progress&) { return --left > 0; };
    EXPECT_EQ(headline(play::Player(port, options).play(reader).error()),
              "a.stapl: stopped on request");
}

} // namespace
} // namespace talvor::stapl
