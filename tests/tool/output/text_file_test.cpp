#include "common/temporary.h"
#include "tool/output/text_file.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <sys/stat.h>

namespace talvor {
namespace {

namespace fs = std::filesystem;

class TextFileTest : public testing::Test {
protected:
    std::string path(const std::string& name) const { return folder_.path() + "/" + name; }
    static std::string content(const std::string& path) {
        std::ostringstream text;
        text << std::ifstream(path).rdbuf();
        return text.str();
    }
    size_t files() const {
        return static_cast<size_t>(std::distance(fs::directory_iterator(folder_.path()), {}));
    }

private:
    TemporaryFolder folder_ = TemporaryFolder::create().value();
};

TEST_F(TextFileTest, IsWrittenAndReplaced) {
    ASSERT_TRUE(write_text_file(path("a"), "one"));
    ASSERT_TRUE(write_text_file(path("a"), "two"));
    EXPECT_EQ(content(path("a")), "two");
    EXPECT_EQ(files(), 1U);
}

TEST_F(TextFileTest, IsKeptWhereThatIsWanted) {
    ASSERT_TRUE(write_text_file(path("a"), "one", Existing::Kept));
    const Status again = write_text_file(path("a"), "two", Existing::Kept);
    ASSERT_FALSE(again);
    EXPECT_EQ(headline(again.error()), path("a") + ": cannot be written: File exists");
    EXPECT_EQ(content(path("a")), "one");
    EXPECT_EQ(files(), 1U);
}

TEST_F(TextFileTest, HasThePermissionsThatAreWanted) {
    ASSERT_TRUE(write_text_file(path("a"), "one", Existing::Replaced, S_IRUSR | S_IWUSR));
    EXPECT_EQ(fs::status(path("a")).permissions(), fs::perms::owner_read | fs::perms::owner_write);
}

// A device, or the name of one, is no file to put another one in the place of.
TEST_F(TextFileTest, WhatIsNoPlainFileIsWrittenThrough) {
    fs::create_symlink("/dev/full", path("full"));
    const Status full = write_text_file(path("full"), "text");
    ASSERT_FALSE(full);
    EXPECT_EQ(headline(full.error()),
              path("full") + ": cannot be written: No space left on device");
    EXPECT_EQ(fs::read_symlink(path("full")), "/dev/full");
    std::ofstream(path("real")) << "old and long";
    fs::create_symlink(path("real"), path("name"));
    ASSERT_TRUE(write_text_file(path("name"), "new"));
    EXPECT_EQ(content(path("real")), "new");
    EXPECT_TRUE(fs::is_symlink(path("name")));
    ASSERT_TRUE(write_text_file("/dev/null", "text"));
    EXPECT_TRUE(fs::is_character_file("/dev/null"));
    EXPECT_EQ(files(), 3U);
}

TEST_F(TextFileTest, ThatCannotBeWrittenLeavesNothing) {
    fs::create_directory(path("folder"));
    for (const Existing existing : {Existing::Replaced, Existing::Kept}) {
        const Status status = write_text_file(path("none/a"), "text", existing);
        ASSERT_FALSE(status);
        EXPECT_EQ(headline(status.error()),
                  path("none/a") + ": cannot be written: No such file or directory");
        EXPECT_FALSE(write_text_file(path("folder"), "text", existing));
    }
    EXPECT_EQ(files(), 1U);
}

TEST_F(TextFileTest, IsWrittenInPieces) {
    Result<TextFile> file = TextFile::create(path("a"));
    ASSERT_TRUE(file);
    EXPECT_TRUE(file->add("one "));
    EXPECT_TRUE(file->add("two"));
    EXPECT_TRUE(file->close());
    EXPECT_EQ(content(path("a")), "one two");
    EXPECT_FALSE(TextFile::create(path("none/a")));
}

} // namespace
} // namespace talvor
