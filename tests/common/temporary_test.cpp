#include "common/temporary.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <sys/stat.h>
#include <unistd.h>

namespace talvor {
namespace {

namespace fs = std::filesystem;

TEST(TemporaryFileTest, IsThereWhileItsOwnerIs) {
    std::string path;
    {
        const auto file = TemporaryFile::create();
        ASSERT_TRUE(file);
        path = file->path();
        EXPECT_EQ(fs::file_size(path), 0U);
        EXPECT_EQ(write(file->descriptor(), "abc", 3), 3);
        EXPECT_EQ(fs::file_size(path), 3U);
    }
    EXPECT_FALSE(fs::exists(path));
}

TEST(TemporaryFileTest, TwoHaveNamesOfTheirOwn) {
    const auto one = TemporaryFile::create();
    const auto two = TemporaryFile::create();
    EXPECT_NE(one->path(), two->path());
}

TEST(TemporaryFileTest, GoesWithItsLastOwner) {
    auto first = TemporaryFile::create();
    const std::string path = first->path();
    {
        TemporaryFile second = std::move(*first);
        EXPECT_EQ(first->path(), "");
        EXPECT_TRUE(fs::exists(path));
        auto other = TemporaryFile::create();
        const std::string other_path = other->path();
        *other = std::move(second);
        EXPECT_EQ(other->path(), path);
        EXPECT_TRUE(fs::exists(path));
    }
    EXPECT_FALSE(fs::exists(path));
}

TEST(TemporaryFileTest, DetachedLosesItsNameAndStaysOpen) {
    auto file = TemporaryFile::create();
    const std::string path = file->path();
    const FileDescriptor descriptor = file->detach();
    EXPECT_FALSE(fs::exists(path));
    EXPECT_EQ(write(descriptor.get(), "abc", 3), 3);
    struct stat status {};
    EXPECT_EQ(fstat(descriptor.get(), &status), 0);
    EXPECT_EQ(status.st_size, 3);
}

TEST(TemporaryFolderTest, GoesWithAllThatIsInIt) {
    std::string path;
    {
        const auto folder = TemporaryFolder::create();
        ASSERT_TRUE(folder);
        path = folder->path();
        ASSERT_TRUE(fs::is_directory(path));
        fs::create_directory(path + "/inner");
        std::ofstream(path + "/inner/file") << "x";
    }
    EXPECT_FALSE(fs::exists(path));
}

TEST(TemporaryFolderTest, GoesWithItsLastOwner) {
    auto first = TemporaryFolder::create();
    const std::string path = first->path();
    {
        const TemporaryFolder second = std::move(*first);
        EXPECT_EQ(second.path(), path);
        first = TemporaryFolder::create();
        EXPECT_TRUE(fs::exists(path));
    }
    EXPECT_FALSE(fs::exists(path));
    EXPECT_TRUE(fs::exists(first->path()));
}

// TMPDIR says where, for as long as the object lives.
class TemporaryPlace {
public:
    explicit TemporaryPlace(const std::string& path) { setenv("TMPDIR", path.c_str(), 1); }
    TemporaryPlace(const TemporaryPlace&) = delete;
    TemporaryPlace& operator=(const TemporaryPlace&) = delete;
    ~TemporaryPlace() {
        if (before_.empty()) {
            unsetenv("TMPDIR");
        } else {
            setenv("TMPDIR", before_.c_str(), 1);
        }
    }

private:
    std::string before_ = getenv("TMPDIR") == nullptr ? "" : getenv("TMPDIR");
};

TEST(TemporaryFileTest, AFolderThatIsNotThereIsAnErrorAndErrnoSaysWhy) {
    const TemporaryPlace place("/nonexistent");
    const auto file = TemporaryFile::create();
    EXPECT_EQ(errno, ENOENT);
    ASSERT_FALSE(file);
    EXPECT_TRUE(file.error().reason.ends_with("No such file or directory")) << file.error().reason;
}

TEST(TemporaryFolderTest, StandsInTheFolderForTemporaryFiles) {
    const auto outer = TemporaryFolder::create();
    const TemporaryPlace place(outer->path());
    EXPECT_EQ(fs::path(TemporaryFolder::create()->path()).parent_path(), outer->path());
    EXPECT_EQ(fs::path(TemporaryFile::create()->path()).parent_path(), outer->path());
}

} // namespace
} // namespace talvor
