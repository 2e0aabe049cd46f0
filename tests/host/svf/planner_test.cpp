#include "host/svf/checker.h"
#include "host/svf/planner.h"
#include "host/svf/player.h"
#include "tests/host/svf/recording_port.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace talvor::svf {
namespace {

using namespace play;

// What a file makes a port do, or the error that refuses it.
struct Case {
    const char* name;
    const char* text;
    std::vector<std::string> log;
};

std::string case_name(const testing::TestParamInfo<Case>& info) {
    return info.param.name;
}

class PlannerTest : public testing::TestWithParam<Case> {};

TEST_P(PlannerTest, AsksThePortForTheWholeAndNothingElse) {
    RecordingPort port;
    play::TextSource source(GetParam().text, "t.svf");
    PlayOptions options;
    options.reset_first = false;
    options.keep_going = true;
    const Result<PlayReport> report = check_and_play(source, port, options);
    ASSERT_TRUE(report) << headline(report.error());
    std::vector<std::string> expected = GetParam().log;
    expected.emplace_back("flush");
    EXPECT_EQ(port.log, expected);
}

const Case kCarryOver[] = {
    {"TdiIsRemembered",
     "SDR 8 TDI (A5); SDR 8; SDR 8 TDI (5A); SDR 8;",
     {"dr 8 A5 IDLE", "dr 8 A5 IDLE", "dr 8 5A IDLE", "dr 8 5A IDLE"}},
    {"TdoIsNot",
     "SDR 8 TDI (A5) TDO (A5); SDR 8; SDR 8 TDO (00);",
     {"dr 8 A5 receive IDLE", "dr 8 A5 IDLE", "dr 8 A5 receive IDLE"}},
    {"EachStatementKindForItself",
     "SDR 8 TDI (A5); SIR 8 TDI (11); SDR 8; SIR 8;",
     {"dr 8 A5 IDLE", "ir 8 11 IDLE", "dr 8 A5 IDLE", "ir 8 11 IDLE"}},
    {"HeaderFirstTrailerLast",
     "HDR 4 TDI (1); TDR 8 TDI (33); SDR 4 TDI (2); HIR 3 TDI (7); TIR 1 TDI (0); SIR 4 TDI (2);",
     {"dr 16 3321 IDLE", "ir 8 17 IDLE"}},
    {"HeadersOfOnePathLeaveTheOtherAlone", "HDR 4 TDI (F); SIR 4 TDI (2);", {"ir 4 2 IDLE"}},
    {"LengthZeroRemoves",
     "HDR 4 TDI (1); SDR 4 TDI (2); HDR 0; SDR 4;",
     {"dr 8 21 IDLE", "dr 4 2 IDLE"}},
    {"HeaderTdiIsRemembered", "HDR 4 TDI (1); HDR 4 MASK (3); SDR 4 TDI (2);", {"dr 8 21 IDLE"}},
    {"ABodyOfNoBitsMovesItsHeader", "HDR 4 TDI (1); SDR 0;", {"dr 4 1 IDLE"}},
    {"ComparedHeaderReceives",
     "HDR 4 TDI (1) TDO (1); SDR 4 TDI (2); HDR 4; SDR 4;",
     {"dr 8 21 receive IDLE", "dr 8 21 IDLE"}},
    {"EndStates",
     "ENDDR DRPAUSE; ENDIR IRPAUSE; SDR 1 TDI (1); SIR 1 TDI (1); ENDDR RESET; SDR 1;",
     {"dr 1 1 DRPAUSE", "ir 1 1 IRPAUSE", "dr 1 1 RESET"}},
};
INSTANTIATE_TEST_SUITE_P(CarryOver, PlannerTest, testing::ValuesIn(kCarryOver), case_name);

const Case kRuns[] = {
    {"DefaultsAreIdle", "RUNTEST 5 TCK;", {"run IDLE 5 0ns"}},
    {"CountAndTime", "RUNTEST 5 TCK 1E-6 SEC;", {"run IDLE 5 1000ns"}},
    {"TimeAlone", "RUNTEST 0.001 SEC;", {"run IDLE 0 1000000ns"}},
    {"RunStateIsRemembered",
     "RUNTEST DRPAUSE 1 SEC; RUNTEST 2 SEC;",
     {"run DRPAUSE 0 1000000000ns", "run DRPAUSE 0 2000000000ns"}},
    {"EndStateIsMovedTo",
     "RUNTEST 1 TCK ENDSTATE IRPAUSE; RUNTEST 2 TCK;",
     {"run IDLE 1 0ns", "move IRPAUSE", "run IDLE 2 0ns", "move IRPAUSE"}},
    {"RunStateBecomesTheEndState",
     "RUNTEST 1 TCK ENDSTATE DRPAUSE; RUNTEST RESET 1 SEC;",
     {"run IDLE 1 0ns", "move DRPAUSE", "run RESET 0 1000000000ns"}},
    {"EndStateOutlivesAPlainRun",
     "RUNTEST IDLE 1 TCK ENDSTATE DRPAUSE; RUNTEST 1 TCK;",
     {"run IDLE 1 0ns", "move DRPAUSE", "run IDLE 1 0ns", "move DRPAUSE"}},
    {"MaximumIsNoOrder", "RUNTEST 1E-9 SEC MAXIMUM 100 SEC;", {"run IDLE 0 1ns"}},
};
INSTANTIATE_TEST_SUITE_P(Runs, PlannerTest, testing::ValuesIn(kRuns), case_name);

const Case kPaths[] = {
    {"SingleState",
     "STATE IDLE; STATE DRPAUSE; STATE RESET; STATE IRPAUSE;",
     {"move IDLE", "move DRPAUSE", "reset", "move IRPAUSE"}},
    {"RouteInFull",
     "STATE IDLE; STATE DRSELECT DRCAPTURE DREXIT1 DRPAUSE; STATE DREXIT2 DRUPDATE "
     "IDLE; STATE DRSELECT IRSELECT IRCAPTURE IREXIT1 IRPAUSE;",
     {"move IDLE", "move DRPAUSE", "move IDLE", "move IRPAUSE"}},
    {"ThroughStableStates",
     "STATE IDLE DRSELECT DRCAPTURE DREXIT1 DRPAUSE DREXIT2 DRUPDATE IDLE;",
     {"move IDLE", "move DRPAUSE", "move IDLE"}},
    {"PauseToPause",
     "STATE DRPAUSE; STATE DREXIT2 DRUPDATE DRSELECT DRCAPTURE DREXIT1 DRPAUSE;",
     {"move DRPAUSE", "move DRPAUSE"}},
    {"ToReset",
     "STATE IDLE; STATE DRSELECT IRSELECT RESET; STATE DRPAUSE; STATE DREXIT2 DRUPDATE "
     "DRSELECT IRSELECT RESET RESET;",
     {"move IDLE", "reset", "move DRPAUSE", "reset", "reset"}},
    {"StayingInIdle", "STATE IDLE IDLE IDLE IDLE;", {"move IDLE", "run IDLE 3 0ns"}},
    {"AfterAScan",
     "ENDDR DRPAUSE; SDR 1 TDI (1); STATE DREXIT2 DRUPDATE IDLE;",
     {"dr 1 1 DRPAUSE", "move IDLE"}},
    {"AfterARun",
     "RUNTEST 1 TCK ENDSTATE DRPAUSE; STATE DREXIT2 DRUPDATE IDLE;",
     {"run IDLE 1 0ns", "move DRPAUSE", "move IDLE"}},
};
INSTANTIATE_TEST_SUITE_P(Paths, PlannerTest, testing::ValuesIn(kPaths), case_name);

const Case kPins[] = {
    {"Trst", "TRST ON; TRST OFF; TRST ABSENT;", {"trst on", "trst off"}},
    {"TrstResetsTheTap",
     "STATE IDLE; TRST ON; STATE IDLE DRSELECT IRSELECT RESET;",
     {"move IDLE", "trst on", "move IDLE", "reset"}},
    {"Frequency",
     "FREQUENCY 1E6 HZ; FREQUENCY 1E6 HZ; FREQUENCY 2E6 HZ; FREQUENCY; FREQUENCY;",
     {"hertz 1000000", "hertz 2000000", "hertz full"}},
    {"FullSpeedIsTheStart", "FREQUENCY;", {}},
};
INSTANTIATE_TEST_SUITE_P(Pins, PlannerTest, testing::ValuesIn(kPins), case_name);

struct Refusal {
    const char* name;
    const char* text;
    ErrorKind kind;
    const char* message;
};

class RefusalTest : public testing::TestWithParam<Refusal> {};

TEST_P(RefusalTest, NamesTheLineBeforeAnythingMoves) {
    RecordingPort port;
    port.longest_scan = 100;
    port.lowest_hertz = 1000;
    play::TextSource source(GetParam().text, "t.svf");
    PlayOptions options;
    options.reader.strict = true;
    const Result<PlayReport> report = check_and_play(source, port, options);
    ASSERT_FALSE(report);
    EXPECT_EQ(headline(report.error()), GetParam().message);
    EXPECT_EQ(report.error().kind, GetParam().kind);
    EXPECT_TRUE(port.log.empty());
}

constexpr ErrorKind kBad = ErrorKind::BadFile;
constexpr ErrorKind kNo = ErrorKind::Refused;

const Refusal kRefusals[] = {
    {"NoTdiTheFirstTime", "SIR 8 TDI (1);\nSDR 8;", kBad,
     "t.svf:2: SDR: TDI is missing, and there is none of 8 bits to carry over"},
    {"NoTdiAfterANewLength", "SDR 8 TDI (1);\nSDR 9 TDO (1);", kBad,
     "t.svf:2: SDR: TDI is missing, and there is none of 9 bits to carry over"},
    {"NoTdiAfterALengthOfZero", "HDR 8 TDI (1);\nHDR 0;\nHDR 8;", kBad,
     "t.svf:3: HDR: TDI is missing, and there is none of 8 bits to carry over"},
    {"NothingToShift", "SDR 0;", kBad, "t.svf:1: SDR: there is no bit to shift"},
    {"ScanTooLong", "SDR 100 TDI (1);\nSIR 101 TDI (1);", kNo,
     "t.svf:2: SIR: a scan of 101 bits: too long"},
    {"ScanTooLongWithItsHeader", "HDR 1 TDI (1);\n\nSDR 100 TDI (1);", kNo,
     "t.svf:3: SDR: a scan of 101 bits: too long"},
    {"IllegalStep", "STATE IDLE;\nSTATE DRSELECT DRSHIFT DREXIT1 DRPAUSE;", kBad,
     "t.svf:2: STATE: no step leads from DRSELECT to DRSHIFT"},
    {"IllegalFirstStep", "STATE DRSELECT DRCAPTURE DREXIT1 DRPAUSE;", kBad,
     "t.svf:1: STATE: no step leads from RESET to DRSELECT"},
    {"PathThroughShift", "STATE IDLE;\nSTATE DRSELECT DRCAPTURE DRSHIFT DREXIT1 DRPAUSE;", kNo,
     "t.svf:2: STATE: the pod cannot go from IDLE by way of DRSELECT DRCAPTURE DRSHIFT DREXIT1 "
     "DRPAUSE; its way is DRSELECT DRCAPTURE DREXIT1 DRPAUSE"},
    {"StayInPause", "STATE DRPAUSE;\nSTATE DRPAUSE DRPAUSE;", kNo,
     "t.svf:2: STATE: 2 clocks in Pause-DR: only Run-Test/Idle is counted"},
    {"ClocksInPause", "RUNTEST IRPAUSE 5 TCK;", kNo,
     "t.svf:1: RUNTEST: 5 clocks in Pause-IR: only Run-Test/Idle is counted"},
    {"ClocksInRememberedPause", "RUNTEST IRPAUSE 5 SEC;\nRUNTEST 6 TCK;", kNo,
     "t.svf:2: RUNTEST: 6 clocks in Pause-IR: only Run-Test/Idle is counted"},
    {"SystemClock", "RUNTEST 5 SCK;", kNo, "t.svf:1: RUNTEST: SCK: there is no system clock"},
    {"FrequencyTooLow", "FREQUENCY 1000 HZ;\nFREQUENCY 999 HZ;", kNo,
     "t.svf:2: FREQUENCY: 999 Hz: too slow"},
    {"TrstHighZ", "TRST OFF; TRST Z;", kNo, "t.svf:1: TRST: TRST: no such level"},
    {"TrstAfterAbsent", "TRST ABSENT;\nTRST OFF;", kBad,
     "t.svf:2: TRST: there is no TRST any more after TRST ABSENT"},
    {"TrstAbsentTwice", "TRST ABSENT;\nTRST ABSENT;", kBad,
     "t.svf:2: TRST: there is no TRST any more after TRST ABSENT"},
    {"Pio", "SDR 1 TDI (1);\nPIO (HL);", kNo,
     "t.svf:2: PIO: a JTAG pod has no parallel pins to drive or read"},
    {"PioMap", "PIOMAP (IN A);", kNo,
     "t.svf:1: PIOMAP: a JTAG pod has no parallel pins to drive or read"},
    {"BadTextBehindGoodScans", "SDR 1 TDI (1);\nSDR 1 TDI (1);\nSDR 1 TDI (2);", kBad,
     "t.svf:3: the value of SDR TDI is wider than its 1 bits"},
};
INSTANTIATE_TEST_SUITE_P(Each, RefusalTest, testing::ValuesIn(kRefusals),
                         [](const auto& tested) { return std::string(tested.param.name); });

TEST(PlannerStateTest, FollowsTheTap) {
    RecordingPort port;
    Planner planner(port, "t.svf");
    EXPECT_EQ(planner.state(), StableState::Reset);
    Statement statement;
    statement.kind = StatementKind::RunTest;
    statement.run.count = 1;
    statement.run.end_state = StableState::PauseIr;
    Step step;
    ASSERT_TRUE(planner.plan(statement, step));
    EXPECT_EQ(step.kind, Step::Kind::Run);
    EXPECT_EQ(planner.state(), StableState::PauseIr);
}

TEST(PlannerStateTest, CountsInPauseStatesWhenThePortDoes) {
    RecordingPort port;
    port.counts_outside_idle = true;
    play::TextSource source("STATE DRPAUSE; STATE DRPAUSE DRPAUSE; RUNTEST IRPAUSE 4 TCK;");
    ASSERT_TRUE(check_and_play(source, port));
    EXPECT_EQ(port.log, (std::vector<std::string>{"reset", "move DRPAUSE", "run DRPAUSE 2 0ns",
                                                  "run IRPAUSE 4 0ns", "flush"}));
}

} // namespace
} // namespace talvor::svf
