// What vendors' tools write and a pod cannot do as it is written.
#include "host/play/checker.h"
#include "host/svf/player.h"
#include "tests/host/svf/recording_port.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace talvor::svf {
namespace {

// A port as a pod is: counts in Idle, pulses TRST and cannot hold it, at 10 MHz.
class PodLikePort : public testing::Test {
protected:
    PodLikePort() {
        port.holds_trst = false;
        port.pulses_trst = true;
        port.full_hertz = 10e6;
    }

    play::CheckReport check(const std::string& text, bool strict = false) {
        play::TextSource source(text, "v.svf");
        Reader reader(source, port, {{}, strict});
        Result<play::CheckReport> report = play::check(reader);
        EXPECT_TRUE(report);
        return *report;
    }
    // What is done for `text`, without the reset in front and the flush behind.
    std::vector<std::string> played(const std::string& text) {
        play::TextSource source(text, "v.svf");
        const Result<play::PlayReport> report = check_and_play(source, port);
        EXPECT_TRUE(report) << headline(report.error());
        return {port.log.begin() + 1, port.log.end() - 1};
    }
    // The lines of what is refused.
    std::vector<std::string> refused(const std::string& text, bool strict = false) {
        std::vector<std::string> lines;
        for (const Error& error : check(text, strict).refusals) {
            lines.push_back(headline(error));
        }
        return lines;
    }

    RecordingPort port;
};

using VendorTest = PodLikePort;
using Log = std::vector<std::string>;

TEST_F(VendorTest, ClocksInPauseBecomeTheirTime) {
    const std::string text = "RUNTEST DRPAUSE 20 TCK;\n";
    EXPECT_EQ(played(text), (Log{"run DRPAUSE 0 2000ns"}));
    const play::CheckReport report = check(text);
    ASSERT_EQ(report.notes.count, 1U);
    EXPECT_EQ(report.notes.list[0].line, 1U);
    EXPECT_EQ(report.notes.list[0].statement, "RUNTEST");
    EXPECT_EQ(report.notes.list[0].note.kind, play::NoteKind::Clocks);
    EXPECT_EQ(report.notes.list[0].note.text,
              "20 clocks in Pause-DR are played as 2 us, their time at 10 MHz");
    EXPECT_EQ(refused(text, true),
              (Log{"v.svf:1: RUNTEST: 20 clocks in Pause-DR: only Run-Test/Idle is counted"}));
}

TEST_F(VendorTest, ClocksInOtherStatesToo) {
    EXPECT_EQ(played("RUNTEST IRPAUSE 3 TCK ENDSTATE IDLE; RUNTEST RESET 7 TCK;"),
              (Log{"run IRPAUSE 0 300ns", "move IDLE", "run RESET 0 700ns"}));
}

TEST_F(VendorTest, TheTimeOfClocksIsRoundedUpAtTheClockInForce) {
    EXPECT_EQ(played("FREQUENCY 3E6 HZ; RUNTEST DRPAUSE 1 TCK; FREQUENCY; RUNTEST 1 TCK;"),
              (Log{"hertz 3000000", "run DRPAUSE 0 334ns", "hertz full", "run DRPAUSE 0 100ns"}));
}

TEST_F(VendorTest, TheLongerOfClocksAndTimeIsWaited) {
    EXPECT_EQ(played("RUNTEST DRPAUSE 20 TCK 1E-6 SEC; RUNTEST DRPAUSE 20 TCK 1 SEC;"),
              (Log{"run DRPAUSE 0 2000ns", "run DRPAUSE 0 1000000000ns"}));
}

TEST_F(VendorTest, ClocksWithoutAKnownFrequencyOrForThousandsOfDaysAreRefused) {
    EXPECT_EQ(refused("RUNTEST DRPAUSE 18446744073709551615 TCK;").size(), 1U);
    port.full_hertz = 0;
    EXPECT_EQ(refused("RUNTEST DRPAUSE 20 TCK;").size(), 1U);
}

TEST_F(VendorTest, ClocksOfTheSystemClockAreNoTime) {
    EXPECT_EQ(refused("RUNTEST DRPAUSE 20 SCK;"),
              (Log{"v.svf:1: RUNTEST: SCK: there is no system clock"}));
}

TEST_F(VendorTest, APathWithoutAStopIsWalkedWithOne) {
    const std::string text = "ENDIR IRPAUSE;\nSIR 8 TDI (ED);\n"
                             "STATE IRPAUSE IREXIT2 IRUPDATE DRSELECT DRCAPTURE DREXIT1 DRUPDATE "
                             "IDLE;\n";
    EXPECT_EQ(played(text), (Log{"ir 8 ED IRPAUSE", "move DRPAUSE", "move IDLE"}));
    const play::CheckReport report = check(text);
    ASSERT_EQ(report.notes.count, 1U);
    EXPECT_EQ(report.notes.list[0].line, 3U);
    EXPECT_EQ(report.notes.list[0].note.kind, play::NoteKind::Road);
    EXPECT_EQ(refused(text, true).size(), 1U);
}

TEST_F(VendorTest, APathOverAShiftIsRefused) {
    EXPECT_EQ(refused("STATE IDLE;\nSTATE DRSELECT DRCAPTURE DRSHIFT DREXIT1 DRPAUSE;").size(), 1U);
}

TEST_F(VendorTest, APathThatIsNoneIsAMistakeAllTheSame) {
    const play::CheckReport report =
        check("ENDIR IRPAUSE;\nSIR 8 TDI (ED);\nSTATE IRPAUSE IREXIT2 IRUPDATE DRSHIFT IDLE;");
    ASSERT_EQ(report.refusals.size(), 1U);
    EXPECT_EQ(headline(report.refusals[0]), "v.svf:3: STATE: no step leads from IRUPDATE to "
                                            "DRSHIFT");
    EXPECT_EQ(report.refusals[0].kind, ErrorKind::BadFile);
}

TEST_F(VendorTest, APulseOfTrstIsPlayedAsOne) {
    const std::string text = "TRST ON;\nRUNTEST 100 TCK;\nTRST ON;\nTRST OFF;\nSDR 1 TDI (0);\n";
    EXPECT_EQ(played(text),
              (Log{"trst pulse", "reset", "run IDLE 100 0ns", "trst off", "dr 1 0 IDLE"}));
    const play::CheckReport report = check(text);
    ASSERT_EQ(report.notes.count, 1U);
    EXPECT_EQ(report.notes.list[0].note.text, "TRST is pulsed, not held, until it is released");
    port.holds_trst = true;
    EXPECT_EQ(check(text).notes.count, 0U) << "a port that can hold it does";
}

TEST_F(VendorTest, AScanWhileTrstIsHeldIsRefusedOnce) {
    EXPECT_EQ(refused("TRST ON;\nSDR 1 TDI (0);\nSDR 1;\n"),
              (Log{"v.svf:2: SDR: TRST is held low since line 1, and the pod only pulses it"}));
    EXPECT_EQ(refused("SDR 1 TDI (0);\nTRST ON;\n"), (Log{"v.svf:2: TRST: TRST: no such level"}));
    EXPECT_EQ(refused("TRST ON;\n", true), (Log{"v.svf:1: TRST: TRST: no such level"}));
}

TEST_F(VendorTest, AScanOfNoBitsOnlyMoves) {
    EXPECT_EQ(played("ENDDR DRPAUSE; SDR 0; SDR 0; ENDIR RESET; SIR 0;"),
              (Log{"move DRPAUSE", "reset"}));
    EXPECT_EQ(check("SDR 0;").notes.list[0].note.text, "a scan of no bits only goes to IDLE");
    EXPECT_EQ(refused("SDR 0;", true), (Log{"v.svf:1: SDR: there is no bit to shift"}));
}

TEST_F(VendorTest, AByteOrderMarkIsSkipped) {
    for (const size_t chunk : {size_t{1}, size_t{2}, size_t{100}}) {
        play::TextSource source("\xEF\xBB\xBF! by an editor\nSIR 8 TDI (1);", "v.svf", chunk);
        Reader reader(source, port);
        const Result<play::CheckReport> report = play::check(reader);
        ASSERT_TRUE(report);
        EXPECT_TRUE(report->can_be_played());
        EXPECT_EQ(report->summary.ir_scans, 1U);
    }
    EXPECT_EQ(refused("\xEF\xBB SIR 8 TDI (1);"),
              (Log{"v.svf:1: a byte of 0xEF means nothing here"}));
    EXPECT_EQ(refused("SIR 8 TDI (1);\n\xEF\xBB\xBF"),
              (Log{"v.svf:2: a byte of 0xEF means nothing here"}));
}

TEST_F(VendorTest, AllThatIsRefusedIsListedUpToABrokenStatement) {
    const std::string text = "TRST Z;\n"
                             "PIO (HL);\n"
                             "SDR 8;\n"
                             "SDR 8 TDI (1);\n"
                             "RUNTEST 5 SCK;\n"
                             "SDR 8 TDI (111);\n"
                             "RUNTEST 5 SCK;\n";
    const play::CheckReport report = check(text);
    EXPECT_EQ(refused(text),
              (Log{"v.svf:1: TRST: TRST: no such level",
                   "v.svf:2: PIO: a JTAG pod has no parallel pins to drive or read",
                   "v.svf:3: SDR: TDI is missing, and there is none of 8 bits to carry over",
                   "v.svf:5: RUNTEST: SCK: there is no system clock",
                   "v.svf:6: the value of SDR TDI is wider than its 8 bits"}));
    EXPECT_EQ(report.refusal_count, 5U);
    EXPECT_TRUE(port.log.empty());
}

TEST_F(VendorTest, RefusalsAndNotesAreCountedBeyondWhatIsListed) {
    std::string text;
    for (int i = 0; i < 2000; ++i) {
        text += "RUNTEST 5 SCK;\nRUNTEST DRPAUSE 5 TCK;\n";
    }
    const play::CheckReport report = check(text);
    EXPECT_EQ(report.refusal_count, 2000U);
    EXPECT_EQ(report.refusals.size(), play::CheckReport::kListed);
    EXPECT_EQ(report.notes.count, 2000U);
    EXPECT_EQ(report.notes.by_kind[static_cast<size_t>(play::NoteKind::Clocks)], 2000U);
    EXPECT_EQ(report.notes.list.size(), play::Notes::kListed);
}

TEST_F(VendorTest, AFileBeyondThePlansBoundIsReadTwiceAndPlaysTheSame) {
    const std::string text = "SDR 64 TDI (123456789ABCDEF0) TDO (123456789ABCDEF0); SDR 64;\n"
                             "RUNTEST 5 TCK; STATE DRPAUSE;\n";
    const Log planned = played(text);
    port.log.clear();
    play::TextSource source(text, "v.svf");
    PlayOptions options;
    options.max_plan_bytes = 0;
    ASSERT_TRUE(check_and_play(source, port, options));
    EXPECT_EQ((Log{port.log.begin() + 1, port.log.end() - 1}), planned);
}

} // namespace
} // namespace talvor::svf
