// Sockets in the file system: who may take a name.
#include "common/local_socket.h"
#include "common/temporary.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

namespace talvor {
namespace {

using testing::HasSubstr;

constexpr LocalSocketWords kWords{"letter box", "another postman", "--box"};

class LocalSocketTest : public testing::Test {
protected:
    std::string path() const { return folder_.path() + "/box"; }

private:
    TemporaryFolder folder_ = TemporaryFolder::create().value();
};

TEST_F(LocalSocketTest, IsReachedAtItsName) {
    const auto listener = listen_local(path(), kWords, 1);
    ASSERT_TRUE(listener) << headline(listener.error());
    EXPECT_TRUE(connect_local(local_address(path(), kWords).value()).is_open());
}

TEST_F(LocalSocketTest, ReplacesOneThatNobodyServes) {
    ASSERT_TRUE(listen_local(path(), kWords, 1)); // closed again, its file stays
    ASSERT_TRUE(std::filesystem::exists(path()));
    EXPECT_TRUE(listen_local(path(), kWords, 1));
}

TEST_F(LocalSocketTest, LeavesOneThatSomebodyServes) {
    const auto first = listen_local(path(), kWords, 1);
    const auto second = listen_local(path(), kWords, 1);
    ASSERT_FALSE(second);
    EXPECT_EQ(second.error().reason,
              "another postman serves " + path() + "; choose another name for --box");
    EXPECT_TRUE(connect_local(local_address(path(), kWords).value()).is_open());
}

TEST_F(LocalSocketTest, LeavesAnotherFile) {
    std::ofstream(path()) << "mine";
    const auto listener = listen_local(path(), kWords, 1);
    ASSERT_FALSE(listener);
    EXPECT_EQ(listener.error().reason, path() + " is no socket; choose another name for --box");
    EXPECT_EQ(std::filesystem::file_size(path()), 4u);
}

TEST_F(LocalSocketTest, RefusesANameThatNoAddressHolds) {
    const auto most = listen_local("/" + std::string(200, 'x'), kWords, 1);
    ASSERT_FALSE(most);
    EXPECT_THAT(most.error().reason, HasSubstr("is empty or longer than 107 characters"));
    EXPECT_FALSE(local_address("", kWords));
    EXPECT_TRUE(local_address("/" + std::string(106, 'x'), kWords));
    EXPECT_FALSE(local_address("/" + std::string(107, 'x'), kWords));
}

TEST_F(LocalSocketTest, TellsAFolderThatIsNotThere) {
    const auto listener = listen_local(path() + "/no/box", kWords, 1);
    ASSERT_FALSE(listener);
    EXPECT_THAT(headline(listener.error()), HasSubstr("the letter box " + path() + "/no/box"));
}

} // namespace
} // namespace talvor
