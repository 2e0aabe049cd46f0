// A controller block on a file system that is full: an error code, no signal, nothing left behind.
#include "common/private_shm.h"
#include "support/failing_os.h"
#include "support/leak_guard.h"
#include "transport/share.h"

#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <string>
#include <sys/mman.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using test_support::LeakGuard;
using test_support::RestoredOs;

int failing_errno;
int calls;
off_t asked_from;
off_t asked_length;

class ShareFullTest : public testing::Test {
protected:
    int32_t attach(uint32_t size = SHARE_CONTROL_SIZE) {
        share.size = size;
        return sys_ShareAlloc(&names, &share, &created);
    }
    static bool folder_is_empty() { return std::filesystem::is_empty("/dev/shm"); }

    LeakGuard leaks;
    RestoredOs restored;
    char driver[7] = "driver";
    ShareNames names{"control", "libjsctalvor.so", driver, 7};
    ShareInform share{};
    bool created = false;
};

TEST_F(ShareFullTest, AsksForWhatIsTouchedOnly) {
    os_calls.posix_fallocate = [](int fd, off_t from, off_t length) {
        asked_from = from;
        asked_length = length;
        return ::posix_fallocate(fd, from, length);
    };
    ASSERT_EQ(attach(), 0);
    EXPECT_EQ(asked_from, 0);
    EXPECT_EQ(asked_length, 320) << "count and record";
    struct stat status {};
    ASSERT_EQ(fstat(static_cast<int>(share.pHandle), &status), 0);
    EXPECT_LE(status.st_blocks * 512, 2 * sysconf(_SC_PAGESIZE)) << "the megabyte is not taken";
    EXPECT_EQ(sys_ShareFree(&share), 0);
    ASSERT_EQ(attach(100), 0);
    EXPECT_EQ(asked_length, 104) << "not past the end of a small block";
    EXPECT_EQ(sys_ShareFree(&share), 0);
}

TEST_F(ShareFullTest, EachErrorLeavesNothingBehind) {
    os_calls.posix_fallocate = [](int, off_t, off_t) { return failing_errno; };
    for (const int error : {ENOSPC, EFBIG, EIO, EINVAL, ENODEV, EBADF}) {
        SCOPED_TRACE(std::strerror(error));
        failing_errno = error;
        for (const uint32_t size : {uint32_t{SHARE_CONTROL_SIZE}, 100U}) {
            EXPECT_EQ(attach(size), -164);
            EXPECT_EQ(share.pMemory, nullptr);
            EXPECT_EQ(share.pHandle, 0);
            EXPECT_TRUE(folder_is_empty());
        }
    }
}

TEST_F(ShareFullTest, ABlockThatStandsThereIsLeftAsItWas) {
    ASSERT_EQ(attach(), 0);
    std::strcpy(static_cast<char*>(share.pMemory), "content");
    os_calls.posix_fallocate = [](int, off_t, off_t) { return ENOSPC; };
    ShareInform other{};
    other.size = SHARE_CONTROL_SIZE;
    EXPECT_EQ(sys_ShareAlloc(&names, &other, &created), -164);
    EXPECT_FALSE(folder_is_empty());
    EXPECT_STREQ(static_cast<char*>(share.pMemory), "content");
    EXPECT_EQ(sys_ShareFree(&share), 0);
    EXPECT_TRUE(folder_is_empty());
}

// A host with timers is interrupted at any time.
TEST_F(ShareFullTest, AnInterruptedCallIsMadeAgain) {
    calls = 0;
    os_calls.posix_fallocate = [](int fd, off_t from, off_t length) {
        return ++calls < 5 ? EINTR : ::posix_fallocate(fd, from, length);
    };
    ASSERT_EQ(attach(), 0);
    EXPECT_EQ(calls, 5);
    EXPECT_EQ(sys_ShareFree(&share), 0);
}

TEST_F(ShareFullTest, WithoutLocksASizeThatCannotBeHadLeavesNothingBehind) {
    os_calls.ftruncate = [](int, off_t) { return -1; };
    EXPECT_EQ(attach(100), -164);
    EXPECT_TRUE(folder_is_empty());
}

// ---- a file system that really is full ----

constexpr int kGood = 0;
constexpr int kNotAllowed = 77;

// Mounts a /dev/shm of so many pages, `taken` of which are in use. This process's alone.
bool mount_small(unsigned pages, unsigned taken) {
    const auto page = static_cast<unsigned>(sysconf(_SC_PAGESIZE));
    const std::string options = "mode=1777,size=" + std::to_string(pages * page);
    if (!talvor::enter_private_shm() ||
        mount("tmpfs", "/dev/shm", "tmpfs", 0, options.c_str()) != 0) {
        return false;
    }
    std::ofstream("/dev/shm/filler") << std::string(size_t{taken} * page, 'x');
    return true;
}

// Runs `work` in a process of its own with such a /dev/shm; its exit code, or 128 and the signal.
int in_small_shm(unsigned pages, unsigned taken, bool (*work)()) {
    const pid_t child = fork();
    if (child == 0) {
        if (!mount_small(pages, taken)) {
            _exit(kNotAllowed);
        }
        _exit(work() ? kGood : 1);
    }
    int status = 0;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

char driver_of_all[] = "driver";

int32_t attach_here(ShareInform* share) {
    ShareNames names{"control", "libjsctalvor.so", driver_of_all, 7};
    share->size = SHARE_CONTROL_SIZE;
    bool created = false;
    return sys_ShareAlloc(&names, share, &created);
}

// The filler alone.
bool is_tidy() {
    return std::distance(std::filesystem::directory_iterator("/dev/shm"), {}) == 1;
}

bool fails_and_leaves_nothing() {
    ShareInform share{};
    return attach_here(&share) == -164 && share.pMemory == nullptr && is_tidy();
}

bool works() {
    ShareInform share{};
    if (attach_here(&share) != 0) {
        return false;
    }
    std::memset(share.pMemory, 0x5A, sizeof(JSC_Control));
    return sys_ShareFree(&share) == 0 && is_tidy();
}

// Another driver made it, and nothing in it has been touched.
bool fails_on_an_empty_block_of_another() {
    ShareInform share{};
    (void)attach_here(&share); // for its name
    const int fd = shm_open(share.objectName, O_CREAT | O_RDWR, 0666);
    if (ftruncate(fd, SHARE_HEADER_SIZE + SHARE_CONTROL_SIZE) != 0) {
        return false;
    }
    const bool failed = attach_here(&share) == -164;
    struct stat status {};
    return failed && fstat(fd, &status) == 0 && status.st_nlink == 1;
}

TEST(ShareFullDiskTest, AFullDiskIsAnErrorCode) {
    struct Case {
        unsigned pages;
        unsigned taken;
        bool (*work)();
    };
    for (const Case& one :
         {Case{4, 4, fails_and_leaves_nothing}, Case{4, 3, fails_and_leaves_nothing},
          Case{4, 2, works}, Case{4, 4, fails_on_an_empty_block_of_another}}) {
        SCOPED_TRACE(one.taken);
        const int code = in_small_shm(one.pages, one.taken, one.work);
        if (code == kNotAllowed) {
            GTEST_SKIP() << "this user may not mount a file system in a namespace of its own";
        }
        EXPECT_EQ(code, kGood);
    }
}

} // namespace
