#include "host/session/session.h"

#include <gtest/gtest.h>

namespace talvor {
namespace {

const DeviceTable kTable{
    2, {{0, 11, 0x0203, 0, 0, "/block_11", true}, {1, 22, 0x0301, 0, 0, "/block_22", true}}};

std::string text_of(const Board& board, const char* name) {
    const Key* key = board.keys.find(name);
    return key == nullptr ? "absent" : key->text;
}

Board board_with(const std::vector<std::pair<const char*, const char*>>& keys) {
    Board board;
    board.name = "b.toml";
    uint32_t line = 0;
    for (const auto& [name, text] : keys) {
        board.keys.set(name, text, ++line);
    }
    return board;
}

TEST(CompleteBoardTest, FillsInWhatAnEmptyBoardDoesNotSay) {
    Board board;
    const Result<PodRecord> pod = complete_board(board, kTable, {});
    ASSERT_TRUE(pod) << headline(pod.error());
    EXPECT_EQ(pod->serial, 11U);
    EXPECT_EQ(text_of(board, "KELM.POD_SN"), "11");
    EXPECT_EQ(text_of(board, "KELM.POD_EMUVERSION"), "2");
    EXPECT_EQ(text_of(board, "KELM.POD_DRVR"), "talvor-pod");
    EXPECT_EQ(text_of(board, "KELM.POD_PORT"), "11");
    EXPECT_EQ(board.keys.keys().size(), 4U) << "and nothing else";
    EXPECT_EQ(generation(board), 2U);
}

TEST(CompleteBoardTest, KeepsWhatTheBoardSays) {
    const Board said = board_with({{"KELM.POD_SN", "22"},
                                   {"KELM.POD_EMUVERSION", "3"},
                                   {"KELM.POD_DRVR", "mine"},
                                   {"VEXIL.LINKDLY", "5"}});
    Board board = said;
    const Result<PodRecord> pod = complete_board(board, kTable, {});
    ASSERT_TRUE(pod) << headline(pod.error());
    EXPECT_EQ(pod->serial, 22U) << "the board's serial number chooses";
    EXPECT_EQ(board.keys, said.keys);
    Board other = board_with({{"VEXIL.ECOM_DRVR", "theirs"}});
    ASSERT_TRUE(complete_board(other, kTable, {}));
    EXPECT_EQ(text_of(other, "KELM.POD_DRVR"), "absent");
    EXPECT_EQ(text_of(other, "KELM.POD_PORT"), "absent");
    Board port = board_with({{"KELM.POD_PORT", "7"}});
    ASSERT_TRUE(complete_board(port, kTable, {}));
    EXPECT_EQ(text_of(port, "KELM.POD_PORT"), "7");
}

TEST(CompleteBoardTest, TheSerialNumberAskedForComesBeforeTheBoards) {
    SessionOptions options;
    options.serial = 22;
    Board board = board_with({{"KELM.POD_SN", "11"}});
    const Result<PodRecord> pod = complete_board(board, kTable, options);
    ASSERT_TRUE(pod) << headline(pod.error());
    EXPECT_EQ(pod->serial, 22U);
    EXPECT_EQ(text_of(board, "KELM.POD_SN"), "22");
    options.serial = 33;
    EXPECT_FALSE(complete_board(board, kTable, options));
}

// A board file for several pods names the controller block of one of them.
TEST(CompleteBoardTest, AnotherPodOfACommonFileGetsABlockOfItsOwn) {
    SessionOptions options;
    options.one_of_several = true;
    options.serial = 22;
    const Board common = board_with({{"KELM.POD_SN", "11"},
                                     {"KELM.POD_DRVR", "mine"},
                                     {"KELM.POD_PORT", "3"},
                                     {"KELM.POD_SERIAL", "name"}});
    Board other = common;
    ASSERT_TRUE(complete_board(other, kTable, options));
    EXPECT_EQ(text_of(other, "KELM.POD_PORT"), "22");
    EXPECT_EQ(text_of(other, "KELM.POD_SERIAL"), "");
    Board emulator = board_with({{"VEXIL.ECOM_DRVR", "theirs"}});
    ASSERT_TRUE(complete_board(emulator, kTable, options));
    EXPECT_EQ(text_of(emulator, "VEXIL.ECOM_PORT"), "22");
    EXPECT_EQ(text_of(emulator, "KELM.POD_PORT"), "absent");
    // The file's own pod, and a session alone, keep what it says.
    options.serial = 11;
    Board own = common;
    ASSERT_TRUE(complete_board(own, kTable, options));
    EXPECT_EQ(text_of(own, "KELM.POD_PORT"), "3");
    options = {};
    options.serial = 22;
    Board alone = common;
    ASSERT_TRUE(complete_board(alone, kTable, options));
    EXPECT_EQ(text_of(alone, "KELM.POD_PORT"), "3");
}

TEST(CompleteBoardTest, ADamagedBlockIsNamed) {
    DeviceTable table = kTable;
    table.pods[0].block_good = false;
    Board board;
    const Result<PodRecord> pod = complete_board(board, table, {});
    ASSERT_FALSE(pod);
    EXPECT_EQ(headline(pod.error()), "pod 11: its block /block_11 is missing or has a wrong size");
}

TEST(CompleteBoardTest, AGenerationThatIsNotThePodsIsRefused) {
    Board board = board_with({{"KELM.POD_SN", "11"}, {"KELM.POD_EMUVERSION", "3"}});
    const Result<PodRecord> pod = complete_board(board, kTable, {});
    ASSERT_FALSE(pod);
    EXPECT_EQ(headline(pod.error()),
              "pod 11: b.toml:2 says generation 3, but the pod's revision is 2.3");
    EXPECT_EQ(pod.error().next_step,
              "set KELM.POD_EMUVERSION = 2, or choose another pod with --pod");
    // What names no generation is left to the driver, which says what is wrong with it.
    for (const char* text : {"2", "0", "5", "two"}) {
        Board left = board_with({{"KELM.POD_EMUVERSION", text}});
        EXPECT_TRUE(complete_board(left, kTable, {})) << text;
        EXPECT_EQ(text_of(left, "KELM.POD_EMUVERSION"), text);
    }
    for (const char* text : {"1", "4"}) {
        Board refused = board_with({{"KELM.POD_EMUVERSION", text}});
        EXPECT_FALSE(complete_board(refused, kTable, {})) << text;
    }
}

TEST(CompleteBoardTest, TheLinkDelayAskedForReachesTheKeyThatIsRead) {
    SessionOptions options;
    options.link_delay = -3;
    Board plain = board_with({{"VEXIL.LINKDLY", "5"}});
    ASSERT_TRUE(complete_board(plain, kTable, options));
    EXPECT_EQ(text_of(plain, "VEXIL.LINKDLY"), "-3");
    EXPECT_EQ(text_of(plain, "VEXIL.LINKDELAY_MODE"), "absent");
    EXPECT_EQ(text_of(plain, "VEXIL.LINKDELAY_VALUE"), "absent");
    Board moded = board_with({{"VEXIL.LINKDELAY_MODE", "disable"}, {"VEXIL.LINKDELAY_VALUE", "1"}});
    ASSERT_TRUE(complete_board(moded, kTable, options));
    EXPECT_EQ(text_of(moded, "VEXIL.LINKDELAY_MODE"), "enable");
    EXPECT_EQ(text_of(moded, "VEXIL.LINKDELAY_VALUE"), "-3");
    EXPECT_EQ(text_of(moded, "VEXIL.LINKDLY"), "absent");
}

TEST(CompleteBoardTest, TheTestClockAskedForReachesTheBoard) {
    SessionOptions options;
    options.max_hertz = 1e6;
    Board board;
    ASSERT_TRUE(complete_board(board, kTable, options));
    const TestClock clock(board.clock, 2);
    Board expected;
    clock.apply(*clock.at_most(1e6), expected.keys);
    ASSERT_FALSE(expected.keys.keys().empty());
    for (const Key& key : expected.keys.keys()) {
        EXPECT_EQ(text_of(board, key.name.c_str()), key.text) << key.name;
    }
    options.max_hertz = 1e-3;
    Board slow;
    const Result<PodRecord> pod = complete_board(slow, kTable, options);
    ASSERT_FALSE(pod);
    EXPECT_EQ(pod.error().kind, ErrorKind::Usage);
}

TEST(LoadBoardTest, WithoutAFileTheBoardIsEmptyAndNamed) {
    const Result<Board> board = load_board({});
    ASSERT_TRUE(board);
    EXPECT_EQ(board->name, "defaults");
    EXPECT_TRUE(board->keys.keys().empty());
    EXPECT_EQ(generation(*board), 1U);
}

} // namespace
} // namespace talvor
