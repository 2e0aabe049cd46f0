// A controller block whose users were killed: who is its creator anew, who is not, and what is
// left.
#include "share_fixture.h"
#include "support/failing_os.h"
#include "support/leak_guard.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstring>
#include <fcntl.h>
#include <functional>
#include <poll.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using test_support::LeakGuard;
using test_support::RestoredOs;
using transport_test::Block;
using transport_test::name_stands;
using transport_test::Victim;

// A process of its own that attaches, changes the record and keeps the block.
Victim user() {
    return Victim([] {
        static Block block;
        const bool attached = block.attach() == 0;
        if (attached) {
            block.control().registerCache[5] = 0x1234;
            block.control().ctlrSoftUsed += 1;
        }
        return attached;
    });
}

// Has each lock call made through `watch`, until the table of calls is restored.
using LockCall = int (*)(int fd, int command, struct flock* lock);
LockCall lock_call;

int watched_fcntl(int fd, int command, ...) {
    va_list arguments;
    va_start(arguments, command);
    auto* const lock = va_arg(arguments, struct flock*);
    va_end(arguments);
    return lock_call(fd, command, lock);
}

void watch_locks(LockCall watch) {
    lock_call = watch;
    os_calls.fcntl = watched_fcntl;
}

// Makes the block as a driver without marks does, with so many users.
void make_unmarked(Block& block, uint32_t count) {
    ASSERT_EQ(block.attach(), 0);
    block.mark() = ShareMark{};
    block.count() = count;
    block.control().registerCache[5] = 0x1234;
    munmap(block.object(), SHARE_CONTROL_SIZE + SHARE_HEADER_SIZE);
    close(static_cast<int>(block.share.pHandle));
}

class ShareCrashTest : public testing::Test {
protected:
    ~ShareCrashTest() override {
        if (block.share.objectName[0] != '\0') {
            shm_unlink(block.share.objectName);
        }
    }
    LeakGuard leaks;
    Block block;
};

TEST_F(ShareCrashTest, AFreshBlockIsMarkedBehindTheRecord) {
    ASSERT_EQ(block.attach(), 0);
    EXPECT_TRUE(block.created);
    EXPECT_EQ(block.count(), 0U);
    EXPECT_EQ(std::memcmp(&block.mark(), "talvor 1", 8), 0);
    EXPECT_EQ(block.mark().users, 1U);
    EXPECT_EQ(block.mark().pod.inode, 0U);
    struct stat status {};
    ASSERT_EQ(fstat(static_cast<int>(block.share.pHandle), &status), 0);
    EXPECT_EQ(status.st_size, 1048896);
    const std::string zeros(kShareMarkOffset, '\0');
    EXPECT_EQ(std::memcmp(block.object(), zeros.data(), zeros.size()), 0);
    EXPECT_EQ(block.release(), 0);
    EXPECT_FALSE(name_stands(block));
}

TEST_F(ShareCrashTest, ABlockOfTheDeadIsMadeAnew) {
    user().die();
    ASSERT_EQ(block.attach(), 0);
    EXPECT_TRUE(block.created);
    EXPECT_EQ(block.count(), 0U);
    EXPECT_EQ(block.mark().users, 1U);
    const JSC_Control zero{};
    EXPECT_EQ(std::memcmp(&block.control(), &zero, sizeof zero), 0);
    // And it is held: the next finds it living.
    Block other;
    ASSERT_EQ(other.attach(), 0);
    EXPECT_FALSE(other.created);
    EXPECT_EQ(block.count(), 1U);
    EXPECT_EQ(other.release(), 0);
    EXPECT_TRUE(name_stands(block));
    EXPECT_EQ(block.release(), 0);
    EXPECT_FALSE(name_stands(block));
}

TEST_F(ShareCrashTest, ABlockOfManyDeadIsMadeAnew) {
    Victim first = user();
    Victim second = user();
    Victim third = user();
    first.die();
    third.die();
    second.die();
    ASSERT_EQ(block.attach(), 0);
    EXPECT_TRUE(block.created);
    EXPECT_EQ(block.count(), 0U);
    EXPECT_EQ(block.control().ctlrSoftUsed, 0U);
    EXPECT_EQ(block.release(), 0);
    EXPECT_FALSE(name_stands(block));
}

TEST_F(ShareCrashTest, ABlockWithALivingUserStaysAsItIs) {
    Victim dead = user();
    Victim living = user();
    dead.die();
    ASSERT_EQ(block.attach(), 0);
    EXPECT_FALSE(block.created);
    EXPECT_EQ(block.control().registerCache[5], 0x1234);
    EXPECT_EQ(block.control().ctlrSoftUsed, 2U);
    EXPECT_EQ(block.count(), 2U);
    // The living one still holds it when this handle goes.
    EXPECT_EQ(block.release(), 0);
    EXPECT_TRUE(name_stands(block));
}

TEST_F(ShareCrashTest, TheSurvivorRemovesTheBlockThoughTheDeadStillCount) {
    ASSERT_EQ(block.attach(), 0);
    Victim first = user();
    Victim second = user();
    EXPECT_EQ(block.count(), 2U);
    first.die();
    second.die();
    EXPECT_EQ(block.count(), 2U);
    EXPECT_EQ(block.release(), 0);
    EXPECT_FALSE(name_stands(block));
}

TEST_F(ShareCrashTest, TwoHandlesOfOneProcessHoldTwoLocks) {
    Block other;
    ASSERT_EQ(block.attach(), 0);
    ASSERT_EQ(other.attach(), 0);
    EXPECT_FALSE(other.created);
    EXPECT_FALSE(share_is_alone(static_cast<int>(block.share.pHandle)));
    // A process of one lock a process would have lost it with the other's close.
    EXPECT_EQ(block.release(), 0);
    EXPECT_TRUE(name_stands(other));
    Block third;
    ASSERT_EQ(third.attach(), 0);
    EXPECT_FALSE(third.created);
    EXPECT_EQ(third.release(), 0);
    EXPECT_TRUE(share_is_alone(static_cast<int>(other.share.pHandle)));
    EXPECT_EQ(other.release(), 0);
    EXPECT_FALSE(name_stands(other));
}

// The child has the parent's descriptor, and so its lock.
TEST_F(ShareCrashTest, AForkedChildHoldsWhatItsParentHeld) {
    std::array<int, 2> tell{};
    ASSERT_EQ(pipe(tell.data()), 0);
    Victim parent([&tell] {
        static Block own;
        const bool attached = own.attach() == 0;
        const pid_t child = fork();
        if (child == 0) {
            for (;;) {
                pause();
            }
        }
        return attached && write(tell[1], &child, sizeof child) == ssize_t{sizeof child};
    });
    pid_t child = 0;
    ASSERT_EQ(read(tell[0], &child, sizeof child), ssize_t{sizeof child});
    close(tell[0]);
    close(tell[1]);
    parent.die();
    ASSERT_EQ(block.attach(), 0);
    EXPECT_FALSE(block.created) << "the child lives";
    EXPECT_EQ(block.count(), 1U);
    kill(child, SIGKILL);
    // It is nobody's to wait for here; its descriptors are closed soon after.
    while (!share_is_alone(static_cast<int>(block.share.pHandle))) {
        usleep(1000);
    }
    EXPECT_EQ(block.release(), 0);
    EXPECT_FALSE(name_stands(block));
}

TEST_F(ShareCrashTest, AForkedChildDoesNotKeepTheLocksOfAHandleThatWasReleased) {
    Block other;
    ASSERT_EQ(block.attach(), 0);
    ASSERT_EQ(other.attach(), 0);
    const Victim child([] { return true; });
    EXPECT_EQ(block.release(), 0);
    // Neither the gate nor the hold is left: this neither waits nor finds a second user.
    Block third;
    ASSERT_EQ(third.attach(), 0);
    EXPECT_EQ(third.release(), 0);
    EXPECT_TRUE(share_is_alone(static_cast<int>(other.share.pHandle)));
    EXPECT_EQ(other.release(), 0);
    EXPECT_FALSE(name_stands(other));
}

// ---- blocks of drivers without marks ----

TEST_F(ShareCrashTest, AnUnmarkedBlockIsTakenAsItStands) {
    make_unmarked(block, 3);
    ASSERT_EQ(block.attach(), 0);
    EXPECT_FALSE(block.created);
    EXPECT_EQ(block.count(), 4U);
    EXPECT_EQ(block.control().registerCache[5], 0x1234);
    const ShareMark none{};
    EXPECT_EQ(std::memcmp(&block.mark(), &none, sizeof none), 0);
    EXPECT_EQ(block.release(), 0);
    EXPECT_TRUE(name_stands(block)) << "it counts three more";
}

TEST_F(ShareCrashTest, TheLastUserOfAnUnmarkedBlockRemovesIt) {
    make_unmarked(block, 0);
    Block other;
    ASSERT_EQ(block.attach(), 0);
    ASSERT_EQ(other.attach(), 0);
    EXPECT_EQ(block.count(), 2U);
    EXPECT_EQ(block.release(), 0);
    EXPECT_EQ(other.count(), 1U);
    other.count() = 0; // the one that made it has gone
    EXPECT_EQ(other.release(), 0);
    EXPECT_FALSE(name_stands(other));
}

// A host with a driver that neither marks nor locks has attached to a marked block.
TEST_F(ShareCrashTest, AUserWithoutALockIsNotTakenForDead) {
    ASSERT_EQ(block.attach(), 0);
    block.control().registerCache[5] = 0x1234;
    ++block.count();
    EXPECT_EQ(block.release(), 0);
    EXPECT_TRUE(name_stands(block));
    ASSERT_EQ(block.attach(), 0);
    EXPECT_FALSE(block.created);
    EXPECT_EQ(block.count(), 1U);
    EXPECT_EQ(block.control().registerCache[5], 0x1234);
    --block.count(); // it has gone
    EXPECT_EQ(block.release(), 0);
    EXPECT_FALSE(name_stands(block));
}

// ---- killed in the middle ----

// Runs `work` in a process that is killed at the n-th call of fcntl; false when it made fewer.
bool killed_at_lock(int number, const std::function<void()>& work) {
    const pid_t child = fork();
    if (child == 0) {
        static int left;
        left = number;
        watch_locks([](int fd, int command, struct flock* lock) {
            if (--left == 0) {
                raise(SIGKILL);
            }
            return ::fcntl(fd, command, lock);
        });
        work();
        _exit(0);
    }
    int status = 0;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    return WIFSIGNALED(status);
}

TEST_F(ShareCrashTest, AHandleKilledAtAnyLockBlocksNobody) {
    int kills = 0;
    const auto session = [] {
        Block own;
        Block second;
        if (own.attach() == 0 && second.attach() == 0) {
            second.release();
            own.release();
        }
    };
    while (killed_at_lock(kills + 1, session)) {
        SCOPED_TRACE(++kills);
        ASSERT_EQ(block.attach(), 0);
        EXPECT_TRUE(block.created);
        EXPECT_EQ(block.count(), 0U);
        EXPECT_EQ(block.release(), 0);
        EXPECT_FALSE(name_stands(block));
    }
    EXPECT_GE(kills, 10);
}

// The users and the count as each interrupted step leaves them.
TEST_F(ShareCrashTest, ACounterThatWasNotFinishedIsStillRecognised) {
    for (const uint32_t users : {2U, 3U}) {
        Victim first = user();
        {
            Block peek;
            ASSERT_EQ(peek.attach(), 0);
            peek.mark().users = users + 1;
            peek.count() = 1;
            EXPECT_EQ(peek.release(), 0);
        }
        first.die();
        ASSERT_EQ(block.attach(), 0);
        EXPECT_TRUE(block.created);
        EXPECT_EQ(block.release(), 0);
    }
}

// ---- attaching and releasing at the same time ----

// The gate of an object keeps a second handle out until the first has attached.
TEST_F(ShareCrashTest, OneAttachesAtATime) {
    ASSERT_EQ(block.attach(), 0);
    const int fd = static_cast<int>(block.share.pHandle);
    ASSERT_TRUE(share_enter_gate(fd));
    std::array<int, 2> tell{};
    ASSERT_EQ(pipe(tell.data()), 0);
    const pid_t child = fork();
    if (child == 0) {
        Block own;
        const bool attached = own.attach() == 0;
        (void)!write(tell[1], "x", 1);
        _exit(attached && own.release() == 0 ? 0 : 1);
    }
    pollfd wait{tell[0], POLLIN, 0};
    EXPECT_EQ(poll(&wait, 1, 50), 0) << "it waits";
    share_leave_gate(fd);
    EXPECT_EQ(poll(&wait, 1, 20'000), 1);
    int status = 0;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    close(tell[0]);
    close(tell[1]);
    EXPECT_EQ(block.release(), 0);
}

// Between the opening of an object and its lock, the last user removes it.
TEST_F(ShareCrashTest, AnObjectThatLosesItsNameIsOpenedAgain) {
    Block other;
    ASSERT_EQ(other.attach(), 0);
    const RestoredOs restored;
    static Block* last_user;
    last_user = &other;
    os_calls.shm_open = [](const char* name, int flags, mode_t mode) {
        const int fd = ::shm_open(name, flags, mode);
        if (last_user != nullptr) {
            Block* const leaving = last_user;
            last_user = nullptr;
            EXPECT_EQ(leaving->release(), 0);
        }
        return fd;
    };
    ASSERT_EQ(block.attach(), 0);
    EXPECT_TRUE(block.created);
    EXPECT_TRUE(name_stands(block));
    struct stat status {};
    ASSERT_EQ(fstat(static_cast<int>(block.share.pHandle), &status), 0);
    EXPECT_EQ(status.st_nlink, 1U);
    EXPECT_EQ(block.release(), 0);
    EXPECT_FALSE(name_stands(block));
}

TEST_F(ShareCrashTest, AFileSystemThatCountsNoLinksKeepsNobody) {
    const RestoredOs restored;
    os_calls.fstat = [](int fd, struct stat* status) {
        const int result = ::fstat(fd, status);
        status->st_nlink = 0;
        return result;
    };
    ASSERT_EQ(block.attach(), 0);
    EXPECT_TRUE(block.created);
    os_calls.fstat = ::fstat;
    EXPECT_EQ(block.release(), 0);
}

TEST_F(ShareCrashTest, TheBlockOfAnotherUnderTheOldNameIsNotRemoved) {
    ASSERT_EQ(block.attach(), 0);
    ASSERT_EQ(shm_unlink(block.share.objectName), 0); // somebody cleans up by hand
    Block other;
    ASSERT_EQ(other.attach(), 0);
    EXPECT_TRUE(other.created);
    EXPECT_EQ(block.release(), 0);
    EXPECT_TRUE(name_stands(other));
    EXPECT_EQ(other.release(), 0);
    EXPECT_FALSE(name_stands(other));
}

TEST_F(ShareCrashTest, ProcessesThatComeAndGoAtOnceLeaveNothing) {
    std::array<pid_t, 6> children{};
    for (pid_t& child : children) {
        child = fork();
        if (child == 0) {
            for (int round = 0; round < 300; ++round) {
                Block own;
                if (own.attach() != 0 || own.release() != 0) {
                    _exit(1);
                }
            }
            _exit(0);
        }
    }
    for (const pid_t child : children) {
        int status = 0;
        EXPECT_EQ(waitpid(child, &status, 0), child);
        EXPECT_EQ(status, 0);
    }
    ASSERT_EQ(block.attach(), 0);
    EXPECT_TRUE(block.created);
    EXPECT_EQ(block.release(), 0);
}

// ---- locks that cannot be had ----

int failing_command;
int failing_type;
int failing_errno;

int fail_one_lock(int fd, int command, struct flock* lock) {
    if (command == failing_command && lock->l_type == failing_type) {
        errno = failing_errno;
        return -1;
    }
    return ::fcntl(fd, command, lock);
}

class ShareWithoutLocksTest : public ShareCrashTest {
protected:
    static void fail(int command, int type, int error) {
        failing_command = command;
        failing_type = type;
        failing_errno = error;
        watch_locks(fail_one_lock);
    }
    RestoredOs restored;
};

constexpr std::array kNoLockErrors{EINVAL, ENOLCK, EOPNOTSUPP, ENOSYS, EACCES, EBADF, EIO};

TEST_F(ShareWithoutLocksTest, WithoutAGateTheBlockHasNoMark) {
    for (const int error : kNoLockErrors) {
        SCOPED_TRACE(std::strerror(error));
        fail(F_OFD_SETLKW, F_WRLCK, error);
        ASSERT_EQ(block.attach(), 0);
        EXPECT_TRUE(block.created);
        EXPECT_EQ(block.mark().text, 0U);
        Block other;
        ASSERT_EQ(other.attach(), 0);
        EXPECT_FALSE(other.created);
        EXPECT_EQ(block.count(), 1U);
        EXPECT_EQ(other.release(), 0);
        EXPECT_EQ(block.release(), 0);
        EXPECT_FALSE(name_stands(block));
    }
}

TEST_F(ShareWithoutLocksTest, WithoutAHoldTheBlockHasNoMark) {
    for (const int error : kNoLockErrors) {
        SCOPED_TRACE(std::strerror(error));
        fail(F_OFD_SETLK, F_RDLCK, error);
        ASSERT_EQ(block.attach(), 0);
        EXPECT_TRUE(block.created);
        EXPECT_EQ(block.mark().text, 0U);
        EXPECT_EQ(block.release(), 0);
        EXPECT_FALSE(name_stands(block));
    }
}

TEST_F(ShareWithoutLocksTest, ABlockOfTheDeadIsThenTakenAsItStands) {
    struct Case {
        int command;
        int type;
    };
    for (const auto& [command, type] :
         {Case{F_OFD_SETLKW, F_WRLCK}, Case{F_OFD_SETLK, F_RDLCK}, Case{F_OFD_GETLK, F_WRLCK}}) {
        for (const int error : kNoLockErrors) {
            SCOPED_TRACE(testing::Message() << command << " " << std::strerror(error));
            os_calls.fcntl = ::fcntl;
            user().die();
            fail(command, type, error);
            ASSERT_EQ(block.attach(), 0);
            EXPECT_FALSE(block.created);
            EXPECT_EQ(block.count(), 1U);
            EXPECT_EQ(block.control().registerCache[5], 0x1234);
            EXPECT_EQ(block.release(), 0);
            EXPECT_TRUE(name_stands(block));
            shm_unlink(block.share.objectName);
        }
    }
}

TEST_F(ShareWithoutLocksTest, AUserWithoutAHoldIsNotTakenForDead) {
    ASSERT_EQ(block.attach(), 0);
    fail(F_OFD_SETLK, F_RDLCK, ENOLCK);
    Block unheld;
    ASSERT_EQ(unheld.attach(), 0);
    os_calls.fcntl = ::fcntl;
    EXPECT_TRUE(share_is_alone(static_cast<int>(block.share.pHandle)));
    EXPECT_EQ(block.release(), 0);
    EXPECT_TRUE(name_stands(unheld));
    EXPECT_EQ(unheld.release(), 0);
    EXPECT_FALSE(name_stands(unheld));
}

TEST_F(ShareWithoutLocksTest, AReleaseWithoutAGateGoesByTheCount) {
    ASSERT_EQ(block.attach(), 0);
    user().die();
    fail(F_OFD_SETLKW, F_WRLCK, ENOLCK);
    EXPECT_EQ(block.release(), 0);
    EXPECT_TRUE(name_stands(block)) << "the dead one counts";
}

TEST_F(ShareWithoutLocksTest, AnInterruptedLockIsTakenAgain) {
    static int interruptions;
    interruptions = 0;
    watch_locks([](int fd, int command, struct flock* lock) {
        if (command != F_OFD_GETLK && ++interruptions % 3 != 0) {
            errno = EINTR;
            return -1;
        }
        return ::fcntl(fd, command, lock);
    });
    user().die();
    interruptions = 0;
    ASSERT_EQ(block.attach(), 0);
    EXPECT_TRUE(block.created);
    EXPECT_GE(interruptions, 9);
    EXPECT_EQ(block.release(), 0);
}

TEST_F(ShareWithoutLocksTest, AMarkThatCannotBeWrittenLeavesNothingBehind) {
    for (const int error : {ENOSPC, EDQUOT, EFBIG, EIO, EINVAL}) {
        SCOPED_TRACE(std::strerror(error));
        failing_errno = error;
        os_calls.pwrite = [](int, const void*, size_t, off_t) {
            errno = failing_errno;
            return ssize_t{-1};
        };
        EXPECT_EQ(block.attach(), -164);
        EXPECT_EQ(block.share.pMemory, nullptr);
        EXPECT_EQ(block.share.pHandle, 0);
        EXPECT_FALSE(name_stands(block));
    }
    os_calls.pwrite = [](int, const void*, size_t, off_t) { return ssize_t{8}; };
    EXPECT_EQ(block.attach(), -164) << "half a mark";
    EXPECT_FALSE(name_stands(block));
}

TEST_F(ShareWithoutLocksTest, ABlockThatCannotBeMappedLeavesNothingBehind) {
    os_calls.mmap = [](void*, size_t, int, int, int, off_t) { return MAP_FAILED; };
    EXPECT_EQ(block.attach(), -164);
    EXPECT_FALSE(name_stands(block));
    // One that stood there stays, and nobody holds it.
    os_calls.mmap = ::mmap;
    Block other;
    ASSERT_EQ(other.attach(), 0);
    os_calls.mmap = [](void*, size_t, int, int, int, off_t) { return MAP_FAILED; };
    EXPECT_EQ(block.attach(), -164);
    EXPECT_TRUE(name_stands(other));
    EXPECT_EQ(other.count(), 0U);
    EXPECT_TRUE(share_is_alone(static_cast<int>(other.share.pHandle)));
    EXPECT_EQ(other.release(), 0);
}

} // namespace
