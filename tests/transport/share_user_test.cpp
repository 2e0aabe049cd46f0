// A block that several users of the machine share.
#include "support/failing_os.h"
#include "support/leak_guard.h"
#include "transport/share.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <fcntl.h>
#include <string>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using test_support::LeakGuard;
using test_support::RestoredOs;

char driver[] = "driver";

int32_t attach(ShareInform* share, bool* created, uint32_t size = SHARE_CONTROL_SIZE) {
    ShareNames names{"control", "libjsctalvor.so", driver, 7};
    share->size = size;
    return sys_ShareAlloc(&names, share, created);
}

mode_t mode_of(const ShareInform& share) {
    struct stat status {};
    EXPECT_EQ(fstat(static_cast<int>(share.pHandle), &status), 0);
    return status.st_mode & 07777;
}

class ShareUserTest : public testing::Test {
protected:
    ~ShareUserTest() override { umask(mask); }

    LeakGuard leaks;
    RestoredOs restored;
    mode_t mask = umask(0077);
    ShareInform share{};
    bool created = false;
};

TEST_F(ShareUserTest, TheFileMaskDoesNotKeepOthersOut) {
    for (const uint32_t size : {uint32_t{SHARE_CONTROL_SIZE}, 100U}) {
        ASSERT_EQ(attach(&share, &created, size), 0);
        EXPECT_EQ(mode_of(share), 0666U);
        EXPECT_EQ(sys_ShareFree(&share), 0);
    }
}

TEST_F(ShareUserTest, TheModeOfABlockThatStandsThereStays) {
    ASSERT_EQ(attach(&share, &created), 0);
    ASSERT_EQ(fchmod(static_cast<int>(share.pHandle), 0640), 0);
    ShareInform other{};
    ASSERT_EQ(attach(&other, &created), 0);
    EXPECT_EQ(mode_of(share), 0640U);
    EXPECT_EQ(sys_ShareFree(&other), 0);
    EXPECT_EQ(sys_ShareFree(&share), 0);
}

TEST_F(ShareUserTest, AModeThatCannotBeSetIsNoError) {
    os_calls.fchmod = [](int, mode_t) {
        errno = EPERM;
        return -1;
    };
    ASSERT_EQ(attach(&share, &created), 0);
    EXPECT_TRUE(created);
    EXPECT_EQ(mode_of(share), 0600U);
    EXPECT_EQ(sys_ShareFree(&share), 0);
}

// What a kernel with protected regular files answers for another user's object.
TEST_F(ShareUserTest, AnObjectThatMayNotBeOpenedWithCreateIsOpenedWithout) {
    ShareInform other{};
    ASSERT_EQ(attach(&other, &created), 0);
    os_calls.shm_open = [](const char* name, int flags, mode_t mode) {
        if ((flags & O_CREAT) != 0) {
            errno = EACCES;
            return -1;
        }
        return ::shm_open(name, flags, mode);
    };
    ASSERT_EQ(attach(&share, &created), 0);
    EXPECT_FALSE(created);
    EXPECT_EQ(sys_ShareFree(&share), 0);
    EXPECT_EQ(sys_ShareFree(&other), 0);
    EXPECT_EQ(attach(&share, &created), -164) << "nothing is made without create";
}

TEST_F(ShareUserTest, OtherFailuresToOpenAreFinal) {
    static int opens;
    for (const int error : {EMFILE, ENFILE, ENOSPC, EPERM, ENOMEM, EROFS}) {
        static int failing_errno;
        failing_errno = error;
        opens = 0;
        os_calls.shm_open = [](const char*, int, mode_t) {
            ++opens;
            errno = failing_errno;
            return -1;
        };
        EXPECT_EQ(attach(&share, &created), -164);
        EXPECT_EQ(opens, 1);
    }
}

// Becomes another user for good; the exit code of what it does as that user.
template <typename Work>
int as_user(uid_t user, Work work) {
    const pid_t child = fork();
    if (child == 0) {
        umask(0077);
        _exit(setgid(user) == 0 && setuid(user) == 0 && work() ? 0 : 1);
    }
    int status = 0;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST_F(ShareUserTest, TwoUsersShareABlock) {
    if (as_user(40001, [] { return true; }) != 0) {
        GTEST_SKIP() << "this user may not become another one";
    }
    const auto killed_here = [] {
        ShareInform own{};
        bool made = false;
        return attach(&own, &made) == 0 && made; // and never released
    };
    ASSERT_EQ(as_user(40001, killed_here), 0);
    // Another user finds the block of the dead one, makes it anew, and shares it with a third.
    ASSERT_EQ(as_user(40002,
                      [] {
                          ShareInform own{};
                          bool made = false;
                          const bool anew = attach(&own, &made) == 0 && made;
                          ShareInform second{};
                          const bool shared = attach(&second, &made) == 0 && !made;
                          return anew && shared && sys_ShareFree(&second) == 0 &&
                                 sys_ShareFree(&own) == 0;
                      }),
              0);
    // Only its owner may remove it from a folder like /dev/shm.
    ASSERT_EQ(as_user(40001,
                      [] {
                          ShareInform own{};
                          bool made = false;
                          return attach(&own, &made) == 0 && made && sys_ShareFree(&own) == 0;
                      }),
              0);
}

} // namespace
