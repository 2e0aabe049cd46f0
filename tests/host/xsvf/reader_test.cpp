#include "host/play/checker.h"
#include "host/play/player.h"
#include "host/xsvf/reader.h"
#include "tests/host/svf/recording_port.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <initializer_list>
#include <string>
#include <vector>

namespace talvor::xsvf {
namespace {

using Lines = std::vector<std::string>;

std::string bytes(std::initializer_list<int> values) {
    std::string text;
    for (const int value : values) {
        text += static_cast<char>(value);
    }
    return text;
}

// What a file asks of a port, and in the end the error.
Lines played(const std::string& file, svf::RecordingPort& port, size_t chunk_bytes = SIZE_MAX) {
    play::TextSource source(file, "a.xsvf", chunk_bytes);
    Reader reader(source, port);
    play::Plan plan;
    const Result<play::CheckReport> checked = play::check(reader, {{}, &plan});
    if (!checked->can_be_played()) {
        return {headline(checked->refusals.front())};
    }
    play::Player player(port, {});
    play::PlanReader planned(plan, reader);
    const Status status = player.play(planned);
    Lines lines = port.log;
    if (!status) {
        lines.push_back(headline(status.error()));
    } else if (player.report().first_mismatch) {
        lines.push_back(headline(play::to_error(*player.report().first_mismatch, "a.xsvf")));
    }
    return lines;
}

Lines played(const std::string& file) {
    svf::RecordingPort port;
    return played(file, port);
}

// Between the reset in front and the flush behind.
Lines body(Lines lines) {
    EXPECT_EQ(lines.front(), "reset");
    EXPECT_EQ(lines.back(), "flush");
    return {lines.begin() + 1, lines.end() - 1};
}

const std::string kSize12 = bytes({0x08, 0, 0, 0, 12});

TEST(XsvfReaderTest, ScansInstructionsAndData) {
    EXPECT_EQ(body(played(bytes({0x02, 6, 0x2A, 0x15, 0, 9, 0x01, 0x03}) + kSize12 +
                          bytes({0x03, 0xFA, 0x5C, 0x00}))),
              (Lines{"ir 6 2A IDLE", "ir 9 103 IDLE", "dr 12 A5C IDLE"}));
}

TEST(XsvfReaderTest, EndsWhereEndIrAndEndDrSay) {
    EXPECT_EQ(body(played(bytes({0x13, 1, 0x14, 1, 0x02, 4, 5}) + kSize12 +
                          bytes({0x03, 0x0A, 0x5C, 0x13, 0, 0x02, 4, 5, 0}))),
              (Lines{"ir 4 5 IRPAUSE", "dr 12 A5C DRPAUSE", "ir 4 5 IDLE"}));
}

TEST(XsvfReaderTest, WaitsBehindEachScanAsLongAsRunTestSays) {
    EXPECT_EQ(body(played(bytes({0x04, 0, 0, 0x01, 0x00, 0x02, 4, 5}) + kSize12 +
                          bytes({0x03, 0, 1, 0x04, 0, 0, 0, 0, 0x03, 0, 2, 0}))),
              (Lines{"ir 4 5 IDLE", "run IDLE 256 256000ns", "dr 12 001 IDLE",
                     "run IDLE 256 256000ns", "dr 12 002 IDLE"}));
    EXPECT_EQ(body(played(bytes({0x04, 0, 0, 0, 9, 0x08, 0, 0, 0, 0, 0x03, 0}))),
              (Lines{"run IDLE 9 9000ns"}))
        << "a scan of no bits is the wait alone";
}

TEST(XsvfReaderTest, ComparesUnderTheMaskAndRemembersWhatIsExpected) {
    const std::string start = kSize12 + bytes({0x01, 0x0F, 0x0F, 0x07, 0});
    svf::RecordingPort good;
    good.answers = {"A5C", "AFC"};
    EXPECT_EQ(body(played(start + bytes({0x09, 0, 1, 0x0A, 0x0C, 0x03, 0, 2, 0}), good)),
              (Lines{"dr 12 001 receive IDLE", "dr 12 002 receive IDLE"}));
    svf::RecordingPort wrong;
    wrong.answers = {"A5C", "A5D"};
    EXPECT_EQ(played(start + bytes({0x09, 0, 1, 0x0A, 0x0C, 0x03, 0, 2, 0}), wrong).back(),
              "a.xsvf:15: XSDR: 1 of 12 bits differ, at 0: expected A0C, got A5D, mask F0F");
}

TEST(XsvfReaderTest, ComparesEveryBitWithoutAMask) {
    svf::RecordingPort wrong;
    wrong.answers = {"A5D"};
    EXPECT_EQ(played(kSize12 + bytes({0x07, 0, 0x09, 0, 1, 0x0A, 0x5C, 0}), wrong).back(),
              "a.xsvf:7: XSDRTDO: 1 of 12 bits differ, at 0: expected A5C, got A5D, mask FFF");
}

TEST(XsvfReaderTest, AnotherSizeForgetsWhatIsExpected) {
    svf::RecordingPort port;
    port.answers = {"FFF"};
    EXPECT_EQ(body(played(kSize12 + bytes({0x09, 0,    1, 0x0F, 0xFF, 0x08, 0,    0, 0, 8, 0x03,
                                           0x7E, 0x08, 0, 0,    0,    12,   0x03, 0, 3, 0}),
                          port)),
              (Lines{"dr 12 001 receive IDLE", "dr 8 7E IDLE", "dr 12 003 IDLE"}));
    svf::RecordingPort again;
    again.answers = {"FFF", "FFF"};
    EXPECT_EQ(
        body(played(kSize12 + bytes({0x09, 0, 1, 0x0F, 0xFF}) + kSize12 + bytes({0x03, 0, 3, 0}),
                    again)),
        (Lines{"dr 12 001 receive IDLE", "dr 12 003 receive IDLE"}))
        << "the same size does not";
}

TEST(XsvfReaderTest, TriesAWrongAnswerAgainAfterALongerWait) {
    const std::string file =
        kSize12 + bytes({0x07, 2, 0x04, 0, 0, 0, 100, 0x09, 0, 1, 0x0F, 0xFF, 0x03, 0, 2, 0});
    svf::RecordingPort late;
    late.answers = {"FFF", "000", "7FF", "FFF"};
    EXPECT_EQ(body(played(file, late)),
              (Lines{"dr 12 001 receive IDLE", "run IDLE 100 100000ns", "dr 12 002 receive IDLE",
                     "run IDLE 125 125000ns", "dr 12 002 receive IDLE", "run IDLE 156 156250ns",
                     "dr 12 002 receive IDLE", "run IDLE 100 100000ns"}));
    svf::RecordingPort never;
    never.answers = {"FFF", "000", "7FF", "FFE", "FFF"};
    const Lines lines = played(file, never);
    EXPECT_EQ(lines.back(),
              "a.xsvf:17: XSDR: 1 of 12 bits differ, at 0: expected FFF, got FFE, mask FFF");
    EXPECT_EQ(never.answers, (Lines{"FFF"})) << "two more tries, and no third";
}

TEST(XsvfReaderTest, TriesThirtyTwoTimesUnlessTheFileSaysOtherwise) {
    svf::RecordingPort port;
    port.answers.assign(34, "000");
    (void)played(kSize12 + bytes({0x09, 0, 1, 0x0F, 0xFF, 0}), port);
    EXPECT_EQ(port.answers.size(), 1U);
}

TEST(XsvfReaderTest, PiecesAreOneScan) {
    svf::RecordingPort port;
    port.answers = {"5A0C8F"};
    EXPECT_EQ(body(played(bytes({0x04, 0, 0, 0, 5, 0x08, 0, 0, 0, 8, 0x0C, 0x11, 0x10, 0x22, 0x0C,
                                 0x0E, 0x33, 0}),
                          port)),
              (Lines{"dr 24 332211 receive IDLE"}));
    svf::RecordingPort wrong;
    wrong.answers = {"5A0D8F"};
    EXPECT_EQ(played(bytes({0x08, 0, 0, 0, 8, 0x0C, 0x11, 0x10, 0x22, 0x0C, 0x0E, 0x33, 0}), wrong)
                  .back(),
              "a.xsvf:10: XSDRE: 1 of 24 bits differ, at 8: expected 000C00, got 5A0D8F, mask "
              "00FF00");
    EXPECT_EQ(body(played(bytes({0x08, 0, 0, 0, 8, 0x0C, 0x11, 0x0D, 0x22, 0x0E, 0x33, 0}))),
              (Lines{"dr 24 332211 IDLE"}));
    svf::RecordingPort tdo;
    tdo.answers = {"0201"};
    EXPECT_EQ(body(played(bytes({0x08, 0, 0, 0, 8, 0x0F, 0x11, 0x01, 0x11, 0x22, 0x02, 0}), tdo)),
              (Lines{"dr 16 2211 receive IDLE"}));
}

TEST(XsvfReaderTest, IncrementsAddressAndData) {
    // Address in bits 11 to 8, data in bits 3 to 0.
    EXPECT_EQ(body(played(kSize12 + bytes({0x0A, 0x01, 0x00, 0x00, 0x0F, 0x0B, 0x0E, 0x05, 2, 0x0A,
                                           0x03, 0}))),
              (Lines{"dr 12 E05 IDLE", "dr 12 F0A IDLE", "dr 12 003 IDLE"}));
}

TEST(XsvfReaderTest, MovesAndWaits) {
    EXPECT_EQ(
        body(played(bytes({0x12, 1, 0x12, 0, 0x12, 6, 0x17, 1, 6, 0, 0, 0x01, 0, 0}))),
        (Lines{"move IDLE", "reset", "move DRPAUSE", "run IDLE 256 256000ns", "move DRPAUSE"}));
    // Through Exit2, Update, Select and Capture to Pause: as the port goes by itself.
    EXPECT_EQ(
        body(played(bytes({0x12, 6, 0x12, 7, 0x12, 8, 0x12, 2, 0x12, 3, 0x12, 5, 0x12, 6, 0}))),
        (Lines{"move DRPAUSE", "move DRPAUSE"}));
}

TEST(XsvfReaderTest, PassesOverComments) {
    EXPECT_EQ(body(played(bytes({0x16, 'h', 'i', 0, 0x02, 4, 5, 0x16, 0, 0}))),
              (Lines{"ir 4 5 IDLE"}));
}

TEST(XsvfReaderTest, ReadsTheSameInPiecesOfOneByte) {
    const std::string file =
        kSize12 + bytes({0x01, 0x0F, 0x0F, 0x09, 0,    1, 0, 1, 0x15, 0, 9, 0x01,
                         0x03, 0x16, 'x',  0,    0x17, 1, 1, 0, 0,    0, 7, 0});
    svf::RecordingPort whole;
    svf::RecordingPort pieces;
    EXPECT_EQ(played(file, whole), played(file, pieces, 1));
    EXPECT_EQ(whole.log.size(), 5U);
}

TEST(XsvfReaderTest, EveryMistakeIsNamedWithItsOffset) {
    const std::vector<std::pair<std::string, std::string>> cases{
        {bytes({0x02, 4, 5}), "a.xsvf:3: the file ends without XCOMPLETE"},
        {bytes({0x02, 4, 5, 0x42}), "a.xsvf:3: 0x42 is no XSVF instruction"},
        {bytes({0x05}), "a.xsvf:0: 0x05 is no XSVF instruction"},
        {bytes({0x02, 0, 0}), "a.xsvf:0: XSIR: there is no bit to shift"},
        {bytes({0x02}), "a.xsvf:1: the file ends inside the length of an instruction"},
        {bytes({0x02, 9, 1}), "a.xsvf:2: the file ends inside the value of XSIR"},
        {bytes({0x01, 0}), "a.xsvf:0: XTDOMASK: there is no XSDRSIZE before it"},
        {bytes({0x08, 0xFF, 0, 0, 0}),
         "a.xsvf:0: XSDRSIZE: 4278190080 bits are more than the 1073741824 that this player takes"},
        {kSize12 + bytes({0x0B, 0, 1, 1}), "a.xsvf:5: XSDRINC: there is no XSETSDRMASKS before it"},
        {kSize12 + bytes({0x0D, 0, 1}), "a.xsvf:5: XSDRC: there is no first piece before it"},
        {kSize12 + bytes({0x0C, 0, 1, 0x0C, 0, 1}),
         "a.xsvf:8: XSDRB: the scan before it has not come to its end"},
        {kSize12 + bytes({0x0C, 0, 1, 0}),
         "a.xsvf:8: XCOMPLETE: a scan or a path has not come to its end"},
        {bytes({0x12, 16}), "a.xsvf:0: XSTATE: 16 is no TAP state: they are 0 to 15"},
        {bytes({0x12, 4}), "a.xsvf:0: XSTATE: no step leads from Test-Logic-Reset to Shift-DR"},
        {bytes({0x13, 2}), "a.xsvf:0: XENDIR: 2 is neither 0, Run-Test/Idle, nor 1, Pause-IR"},
        {bytes({0x17, 4, 1, 0, 0, 0, 1}),
         "a.xsvf:0: XWAIT: a wait in Shift-DR: only in Test-Logic-Reset, Run-Test/Idle, Pause-DR "
         "and Pause-IR nothing is shifted meanwhile"},
        {bytes({0x16, 'x'}), "a.xsvf:2: the file ends inside XCOMMENT"},
    };
    for (const auto& [file, message] : cases) {
        EXPECT_EQ(played(file), (Lines{message}));
    }
}

TEST(XsvfReaderTest, WhatThePodCannotDoIsRefusedBeforeAnythingMoves) {
    svf::RecordingPort port;
    port.longest_scan = 8;
    EXPECT_EQ(played(kSize12 + bytes({0x03, 0, 1, 0}), port),
              (Lines{"a.xsvf:5: XSDR: a scan of 12 bits: too long"}));
    EXPECT_TRUE(port.log.empty());
}

} // namespace
} // namespace talvor::xsvf
