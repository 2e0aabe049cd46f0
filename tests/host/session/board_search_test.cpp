#include "common/temporary.h"
#include "host/session/board_search.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sys/stat.h>
#include <unistd.h>

namespace talvor {
namespace {

namespace fs = std::filesystem;

class BoardSearchTest : public testing::Test {
protected:
    [[nodiscard]] std::string make(const std::string& folder) const {
        fs::create_directories(root() + folder);
        const std::string path = root() + folder + "/talvor.toml";
        std::ofstream(path) << "# a board\n";
        return path;
    }
    [[nodiscard]] std::string root() const { return folder_.path(); }
    [[nodiscard]] BoardPlaces places() const {
        return {"", root() + "/work/here", root() + "/settings"};
    }

private:
    TemporaryFolder folder_ = TemporaryFolder::create().value();
};

TEST_F(BoardSearchTest, TakesTheFirstPlaceThatHasOne) {
    fs::create_directories(root() + "/work/here");
    EXPECT_EQ(find_board(places()).path, std::nullopt);
    EXPECT_EQ(find_board(places()).source, BoardSource::Nowhere);
    const std::string settings = make("/settings");
    EXPECT_EQ(find_board(places()).path, settings);
    EXPECT_EQ(find_board(places()).source, BoardSource::Settings);
    const std::string above = make("/work");
    EXPECT_EQ(find_board(places()).path, above);
    EXPECT_EQ(find_board(places()).source, BoardSource::Upwards);
    const std::string here = make("/work/here");
    EXPECT_EQ(find_board(places()).path, here);
    BoardPlaces named = places();
    named.variable = "/any/board";
    EXPECT_EQ(find_board(named).path, "/any/board") << "also one that is not there";
    EXPECT_EQ(find_board(named).source, BoardSource::Variable);
}

TEST_F(BoardSearchTest, PassesOverWhatEverybodyMayWrite) {
    const std::string here = make("/work/here");
    const std::string above = make("/work");
    ASSERT_EQ(chmod(here.c_str(), 0666), 0);
    const FoundBoard found = find_board(places());
    EXPECT_EQ(found.path, above);
    EXPECT_EQ(found.passed_over, std::vector<std::string>{here + ": can be written by everybody"});
}

TEST_F(BoardSearchTest, PassesOverWhatAnotherUserOwns) {
    const std::string here = make("/work/here");
    constexpr uid_t kOther = 54321;
    if (chown(here.c_str(), kOther, static_cast<gid_t>(-1)) != 0) {
        GTEST_SKIP() << "this user cannot give files away";
    }
    const FoundBoard found = find_board(places());
    EXPECT_EQ(found.path, std::nullopt);
    EXPECT_EQ(found.passed_over,
              std::vector<std::string>{here + ": belongs to another user (54321)"});
}

TEST_F(BoardSearchTest, PassesOverAFolderOfThatName) {
    fs::create_directories(root() + "/work/here/talvor.toml");
    EXPECT_EQ(find_board(places()).path, std::nullopt);
}

TEST(BoardPlacesTest, FollowTheEnvironment) {
    setenv("TALVOR_BOARD", "/b.toml", 1);
    setenv("XDG_CONFIG_HOME", "/settings", 1);
    EXPECT_EQ(board_places().variable, "/b.toml");
    EXPECT_EQ(board_places().settings_folder, "/settings/talvor");
    EXPECT_EQ(board_places().working_folder, fs::current_path().string());
    unsetenv("TALVOR_BOARD");
    setenv("XDG_CONFIG_HOME", "relative", 1);
    setenv("HOME", "/home/me", 1);
    EXPECT_EQ(board_places().variable, "");
    EXPECT_EQ(board_places().settings_folder, "/home/me/.config/talvor");
    unsetenv("HOME");
    EXPECT_EQ(board_places().settings_folder, "");
}

} // namespace
} // namespace talvor
