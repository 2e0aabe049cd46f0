#include "common/temporary.h"
#include "tool/terminal/history_file.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

namespace talvor {
namespace {

namespace fs = std::filesystem;
using Lines = std::vector<std::string>;

TEST(HistoryFileTest, KeepsLinesForThisUserAlone) {
    const TemporaryFolder folder = TemporaryFolder::create().value();
    const std::string path = folder.path() + "/new/talvor/history";
    const HistoryFile history(path);
    EXPECT_EQ(history.load(), Lines{});
    EXPECT_TRUE(history.append("chain"));
    EXPECT_TRUE(history.append("dr 0xFF"));
    EXPECT_EQ(HistoryFile(path).load(), (Lines{"chain", "dr 0xFF"}));
    EXPECT_EQ(fs::status(path).permissions(), fs::perms::owner_read | fs::perms::owner_write);
    EXPECT_EQ(fs::status(fs::path(path).parent_path()).permissions(), fs::perms::owner_all);
}

TEST(HistoryFileTest, ForgetsTheOldestLines) {
    const TemporaryFolder folder = TemporaryFolder::create().value();
    const std::string path = folder.path() + "/history";
    {
        std::ofstream file(path);
        for (size_t i = 0; i < 2 * HistoryFile::kLines + 1; ++i) {
            file << i << "\n";
        }
    }
    const Lines lines = HistoryFile(path).load();
    ASSERT_EQ(lines.size(), HistoryFile::kLines);
    EXPECT_EQ(lines.back(), std::to_string(2 * HistoryFile::kLines));
    size_t left = 0;
    std::ifstream file(path);
    for (std::string line; std::getline(file, line);) {
        ++left;
    }
    EXPECT_EQ(left, HistoryFile::kLines) << "the file was cut";
}

TEST(HistoryFileTest, ThatCannotBeWrittenSaysSo) {
    const Status kept = HistoryFile("/proc/nowhere/history").append("x");
    ASSERT_FALSE(kept);
    EXPECT_EQ(kept.error().thing, "/proc/nowhere/history");
    EXPECT_TRUE(HistoryFile("").append("x")) << "nothing is kept";
}

TEST(HistoryFileTest, LiesInTheStateFolder) {
    setenv("XDG_STATE_HOME", "/state", 1);
    EXPECT_EQ(HistoryFile::default_path(), "/state/talvor/history");
    setenv("XDG_STATE_HOME", "relative", 1);
    setenv("HOME", "/home/me", 1);
    EXPECT_EQ(HistoryFile::default_path(), "/home/me/.local/state/talvor/history");
    setenv("HOME", "", 1);
    EXPECT_EQ(HistoryFile::default_path(), "");
}

} // namespace
} // namespace talvor
