#include "host/play/source.h"

#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <string>
#include <thread>
#include <unistd.h>

namespace talvor::play {
namespace {

std::string read_all(ByteSource& source) {
    std::string text;
    while (true) {
        const Result<std::span<const char>> chunk = source.next_chunk();
        EXPECT_TRUE(chunk);
        if (!chunk || chunk->empty()) {
            return text;
        }
        text.append(chunk->data(), chunk->size());
    }
}

// A file that goes when the test does.
class TempFile {
public:
    explicit TempFile(const std::string& content) {
        const FileDescriptor file(::mkstemp(path_.data()));
        EXPECT_EQ(::write(file.get(), content.data(), content.size()),
                  static_cast<ssize_t>(content.size()));
    }
    ~TempFile() { ::unlink(path_.c_str()); }
    [[nodiscard]] const std::string& path() const { return path_; }

private:
    std::string path_ = "/tmp/source-test-XXXXXX";
};

TEST(TextSourceTest, GivesPiecesOfTheAskedSizeAndStartsAgain) {
    TextSource source("abcdefg", "x", 3);
    EXPECT_EQ(source.next_chunk()->size(), 3U);
    EXPECT_EQ(read_all(source), "defg");
    EXPECT_TRUE(source.next_chunk()->empty());
    EXPECT_TRUE(source.rewind());
    EXPECT_EQ(read_all(source), "abcdefg");
    EXPECT_EQ(source.total_bytes(), 7U);
    EXPECT_EQ(source.name(), "x");
}

TEST(FileSourceTest, ReadsAFileTwice) {
    std::string content;
    for (int i = 0; i < 300000; ++i) {
        content += std::to_string(i) + "\n";
    }
    const TempFile file(content);
    Result<std::unique_ptr<FileSource>> source = FileSource::open(file.path());
    ASSERT_TRUE(source);
    EXPECT_EQ((*source)->total_bytes(), content.size());
    EXPECT_EQ(read_all(**source), content);
    EXPECT_TRUE((*source)->rewind());
    EXPECT_EQ(read_all(**source), content);
}

TEST(FileSourceTest, SpoolsAPipeSoThatItIsReadTwice) {
    std::array<int, 2> ends{};
    ASSERT_EQ(::pipe(ends.data()), 0);
    FileDescriptor from(ends[0]);
    const std::string content(200000, 'x');
    std::thread writer([&content, fd = ends[1]] {
        const FileDescriptor to(fd);
        for (size_t at = 0; at < content.size();) {
            const ssize_t put = ::write(to.get(), content.data() + at, content.size() - at);
            ASSERT_GT(put, 0);
            at += static_cast<size_t>(put);
        }
    });
    Result<std::unique_ptr<FileSource>> source = FileSource::adopt(std::move(from), "a pipe");
    writer.join();
    ASSERT_TRUE(source);
    EXPECT_EQ((*source)->total_bytes(), content.size());
    EXPECT_EQ(read_all(**source), content);
    EXPECT_TRUE((*source)->rewind());
    EXPECT_EQ(read_all(**source), content);
    EXPECT_EQ((*source)->name(), "a pipe");
}

TEST(FileSourceTest, AMissingFileIsNamedWithTheReason) {
    const auto source = FileSource::open("/nonexistent/a.svf");
    ASSERT_FALSE(source);
    EXPECT_EQ(source.error(),
              (Error{ErrorKind::BadFile, 0, "/nonexistent/a.svf",
                     "cannot open it: No such file or directory", "check the name"}));
}

TEST(FileSourceTest, ADirectoryIsRefused) {
    const auto source = FileSource::open("/tmp");
    ASSERT_FALSE(source);
    EXPECT_EQ(headline(source.error()), "/tmp: cannot read it: Is a directory");
}

TEST(FileSourceTest, AReadThatFailsIsReported) {
    const TempFile file("x");
    const auto source =
        FileSource::adopt(FileDescriptor(::open(file.path().c_str(), O_WRONLY)), "one way");
    ASSERT_TRUE(source);
    const auto chunk = (*source)->next_chunk();
    ASSERT_FALSE(chunk);
    EXPECT_EQ(headline(chunk.error()), "one way: cannot read it: Bad file descriptor");
}

// An earlier call's interrupt is none of this one's.
TEST(FileSourceTest, ReadsOnceWhateverWasInterruptedBefore) {
    const TempFile file("x");
    const auto source = FileSource::open(file.path());
    ASSERT_TRUE(source);
    for (const size_t expected : {1U, 0U}) {
        errno = EINTR;
        const auto chunk = (*source)->next_chunk();
        ASSERT_TRUE(chunk);
        EXPECT_EQ(chunk->size(), expected);
    }
}

TEST(FileSourceTest, APipeWithoutRoomToSpoolIsRefused) {
    std::array<int, 2> ends{};
    ASSERT_EQ(::pipe(ends.data()), 0);
    FileDescriptor from(ends[0]);
    const FileDescriptor to(ends[1]);
    ASSERT_EQ(::setenv("TMPDIR", "/nonexistent", 1), 0);
    const auto source = FileSource::adopt(std::move(from), "a pipe");
    ::unsetenv("TMPDIR");
    ASSERT_FALSE(source);
    EXPECT_EQ(headline(source.error()),
              "a pipe: cannot make a temporary file to spool it: No such file or directory");
}

// What a pipe brings is bounded; a file may have any size.
TEST(FileSourceTest, TakesNoMoreFromAPipeThanIsAllowed) {
    for (const uint64_t bound : {3U, 4U}) {
        std::array<int, 2> ends{};
        ASSERT_EQ(::pipe(ends.data()), 0);
        FileDescriptor reader(ends[0]);
        {
            const FileDescriptor writer(ends[1]);
            ASSERT_EQ(::write(writer.get(), "abcd", 4), 4);
        }
        const auto source = FileSource::adopt(std::move(reader), "pipe", bound);
        ASSERT_EQ(source.has_value(), bound == 4U);
        if (!source) {
            EXPECT_EQ(source.error().kind, ErrorKind::BadFile);
            EXPECT_EQ(source.error().reason, "more than 3 bytes came");
            EXPECT_NE(source.error().next_step, "");
        }
    }
}

} // namespace
} // namespace talvor::play
