#include "host/session/board_file.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

namespace talvor {
namespace {

std::string text_of(const Board& board, const char* name) {
    const Key* key = board.keys.find(name);
    return key == nullptr ? "absent" : key->text;
}

TEST(BoardFileTest, FindsBsdlFilesFromWhereItStands) {
    const auto path = [](const char* line, const char* board) {
        const Result<Board> read = parse_board(fmt::format("[[device]]\n{}\n", line), board);
        return read ? read->devices.at(0).bsdl : headline(read.error());
    };
    EXPECT_EQ(path("bsdl = \"a.bsd\"", "b.toml"), "a.bsd");
    EXPECT_EQ(path("bsdl = \"a.bsd\"", "boards/b.toml"), "boards/a.bsd");
    EXPECT_EQ(path("bsdl = \"/parts/a.bsd\"", "boards/b.toml"), "/parts/a.bsd");
    EXPECT_EQ(path("name = \"cpu\"", "boards/b.toml"), "");
    EXPECT_EQ(path("bsdl = \"\"", "b.toml"),
              "b.toml:2: device[0].bsdl: expected the path of a BSDL file, as a text");
}

TEST(BoardFileTest, GivesEachScalarAsTheTextThatTheDriverReads) {
    const Result<Board> board = parse_board(R"(
[VEXIL]
SLOWFRQ = 1000
LINKDLY = -3
TCLK_FREQUENCY = "12.5MHz"
TCLK_REFERENCE = 10.0
TCLK_BEGINNING = 0.5
NOCHECK = true
[KELM]
POD_AW_EN = false
POD_TCKDIV = 0x0C
)",
                                            "b.toml");
    ASSERT_TRUE(board) << headline(board.error());
    EXPECT_EQ(text_of(*board, "VEXIL.SLOWFRQ"), "1000");
    EXPECT_EQ(text_of(*board, "VEXIL.LINKDLY"), "-3");
    EXPECT_EQ(text_of(*board, "VEXIL.TCLK_FREQUENCY"), "12.5MHz");
    EXPECT_EQ(text_of(*board, "VEXIL.TCLK_REFERENCE"), "10.0");
    EXPECT_EQ(text_of(*board, "VEXIL.TCLK_BEGINNING"), "0.5");
    EXPECT_EQ(text_of(*board, "VEXIL.NOCHECK"), "true");
    EXPECT_EQ(text_of(*board, "KELM.POD_AW_EN"), "false");
    EXPECT_EQ(text_of(*board, "KELM.POD_TCKDIV"), "12");
    EXPECT_EQ(board->keys.find("KELM.POD_TCKDIV")->line, 11U);
}

TEST(BoardFileTest, HoldsClockDevicesAndLibrary) {
    const Result<Board> board = parse_board(R"(
library = "/opt/lib.so"
[clock]
base_hz = 50_000_000
predivided_hz = 5_000_000
offset = 2
[[device]]
name = "cpu"
ir = 4
[[device]]
name = "fpga"
)",
                                            "b.toml");
    ASSERT_TRUE(board) << headline(board.error());
    EXPECT_EQ(board->library, "/opt/lib.so");
    EXPECT_EQ(board->clock, (ClockFormula{50'000'000, 5'000'000, 2}));
    EXPECT_EQ(board->devices, (std::vector<BoardDevice>{{"cpu", 4}, {"fpga", 0}}));
}

TEST(BoardFileTest, AnEmptyFileIsABoardWithoutKeys) {
    const Result<Board> board = parse_board("", "b.toml");
    ASSERT_TRUE(board);
    EXPECT_TRUE(board->keys.keys().empty());
    EXPECT_TRUE(board->devices.empty());
    EXPECT_EQ(board->clock, ClockFormula{});
}

struct BadBoard {
    const char* text;
    const char* thing;
    const char* reason;
};

TEST(BoardFileTest, ErrorsNameLineKeyAndExpectation) {
    const BadBoard cases[] = {
        {"\nVEXIL = 1\n", "b.toml:2: VEXIL", "expected a table, found an integer"},
        {"KELM = [1]\n", "b.toml:1: KELM", "expected a table, found an array"},
        {"clock = 'fast'\n", "b.toml:1: clock", "expected a table, found a text"},
        {"[KELM]\nPOD_SN = [1]\n", "b.toml:2: KELM.POD_SN",
         "expected a text, a number, true or false"},
        {"[KELM]\nPOD_SN = inf\n", "b.toml:2: KELM.POD_SN",
         "expected a text, a number, true or false"},
        {"[VEXILL]\n", "b.toml:1: VEXILL",
         "unknown key, expected one of VEXIL, KELM, clock, device, library"},
        {"[clock]\nbase = 1\n", "b.toml:2: clock.base",
         "unknown key, expected one of base_hz, predivided_hz, offset"},
        {"[clock]\nbase_hz = 0\n", "b.toml:2: clock.base_hz",
         "expected an integer from 1 to 100000000000, found 0"},
        {"[clock]\noffset = 1.5\n", "b.toml:2: clock.offset",
         "expected an integer from 1 to 1024, found a real number"},
        {"[device]\nir = 4\n", "b.toml:1: device",
         "expected an array of tables, written [[device]], found a table"},
        {"[[device]]\nir = 1\n", "b.toml:2: device[0].ir",
         "expected an integer from 2 to 65536, found 1"},
        {"[[device]]\n[[device]]\nir = -4\n", "b.toml:3: device[1].ir",
         "expected an integer from 2 to 65536, found -4"},
        {"[[device]]\nname = 4\n", "b.toml:2: device[0].name", "expected a text, found an integer"},
        {"[[device]]\nlength = 4\n", "b.toml:2: device[0].length",
         "unknown key, expected one of name, ir, bsdl"},
        {"library = 1\n", "b.toml:1: library", "expected a text, found an integer"},
        {"library = ''\n", "b.toml:1: library", "expected the path of the library, as a text"},
    };
    for (const BadBoard& one : cases) {
        const Result<Board> board = parse_board(one.text, "b.toml");
        ASSERT_FALSE(board) << one.text;
        EXPECT_EQ(board.error().thing, one.thing);
        EXPECT_EQ(board.error().reason, one.reason);
        EXPECT_EQ(board.error().exit_status(), 2);
    }
}

TEST(BoardFileTest, WhatIsNotTomlIsNamedWithItsLine) {
    const Result<Board> board = parse_board("[KELM]\nPOD_SN = \n", "b.toml");
    ASSERT_FALSE(board);
    EXPECT_EQ(board.error().thing, "b.toml:2");
    EXPECT_TRUE(board.error().reason.starts_with("not TOML: ")) << board.error().reason;
    EXPECT_EQ(board.error().kind, ErrorKind::BadFile);
}

TEST(BoardFileTest, IsReadFromDisk) {
    const std::string path = testing::TempDir() + "board_file_test.toml";
    std::ofstream(path) << "[KELM]\nPOD_SN = 9\n";
    const Result<Board> board = read_board(path);
    ASSERT_TRUE(board) << headline(board.error());
    EXPECT_EQ(board->name, path);
    EXPECT_EQ(text_of(*board, "KELM.POD_SN"), "9");
    std::ofstream(path, std::ios::trunc).close();
    EXPECT_TRUE(read_board(path));
    std::filesystem::remove(path);
}

TEST(BoardFileTest, AMissingFileAndADirectoryAreErrors) {
    const Result<Board> missing = read_board("/nonexistent/board.toml");
    ASSERT_FALSE(missing);
    EXPECT_EQ(missing.error().thing, "/nonexistent/board.toml");
    EXPECT_EQ(missing.error().reason, "cannot be read: No such file or directory");
    EXPECT_EQ(missing.error().next_step,
              "name a board file with --board; examples/board.toml is one to start from");
    EXPECT_EQ(missing.error().exit_status(), 2);
    const Result<Board> directory = read_board("/");
    ASSERT_FALSE(directory);
    EXPECT_EQ(directory.error().reason, "cannot be read: Is a directory");
}

} // namespace
} // namespace talvor
