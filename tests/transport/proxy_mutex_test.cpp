// The proxy-wide mutex, and hosts that are killed while they choose their pod.
#include "support/bare_handle.h"
#include "support/failing_os.h"
#include "support/leak_guard.h"
#include "support/recording_proxy.h"
#include "transport/object_lock.h"
#include "transport/proxy_mutex.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <functional>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

using test_support::BareHandle;
using test_support::LeakGuard;
using test_support::RecordingProxy;
using test_support::RestoredOs;
using testing::ElementsAre;

// Milliseconds that each limited wait for the mutex was to take, of the time of day, which stands.
std::vector<int64_t> limits;
int sleeps;

class ProxyMutexTest : public testing::Test {
protected:
    ProxyMutexTest() {
        limits.clear();
        sleeps = 0;
        os_calls.clock_gettime = [](clockid_t, timespec* now) {
            *now = {.tv_sec = 1000, .tv_nsec = 960'000'000};
            return 0;
        };
        os_calls.sem_timedwait = [](sem_t* semaphore, const timespec* deadline) {
            limits.push_back((deadline->tv_sec - 1000) * 1000 + deadline->tv_nsec / 1'000'000 -
                             960);
            return ::sem_timedwait(semaphore, deadline); // in the past: at once
        };
        os_calls.usleep = [](useconds_t delay_us) {
            EXPECT_EQ(delay_us, 1000U);
            ++sleeps;
            return 0;
        };
    }

    // Leaves the mutex as a host does that chooses a pod and is killed at a call.
    void kill_while_choosing(const std::function<void()>& arm) const {
        const pid_t child = fork();
        if (child == 0) {
            arm();
            BareHandle handle;
            (void)handle.open();
            _exit(1);
        }
        int status = 0;
        EXPECT_EQ(waitpid(child, &status, 0), child);
        EXPECT_TRUE(WIFSIGNALED(status)) << status;
    }
    void kill_a_holder() {
        kill_while_choosing([] {
            os_calls.mmap = [](void*, size_t, int, int, int, off_t) -> void* {
                raise(SIGKILL);
                return MAP_FAILED;
            };
        });
        EXPECT_EQ(value(), 0);
        EXPECT_EQ(word(), kMutexHeld);
    }
    void kill_behind_the_wait() {
        kill_while_choosing([] {
            os_calls.sem_wait = [](sem_t* semaphore) {
                (void)::sem_wait(semaphore);
                return raise(SIGKILL);
            };
        });
        EXPECT_EQ(value(), 0);
        EXPECT_EQ(word(), kMutexWanted);
    }

    // A host with another driver has the mutex.
    void hold_as_a_stranger() { ASSERT_EQ(::sem_wait(proxy.mutex()), 0); }

    uint32_t& word() { return proxy_mutex_word(proxy.mutex()); }
    int value() {
        int posts = -1;
        EXPECT_EQ(sem_getvalue(proxy.mutex(), &posts), 0);
        return posts;
    }
    bool lock(uint32_t patience_ms) { return proxy_mutex_lock(&mutex, patience_ms); }
    void expect_free() {
        EXPECT_EQ(value(), 1);
        EXPECT_EQ(word(), 0U);
    }

    LeakGuard leaks;
    RestoredOs restored;
    RecordingProxy proxy;
    ProxyMutex mutex{};
};

TEST_F(ProxyMutexTest, SaysWhoHasIt) {
    expect_free();
    ASSERT_TRUE(lock(0));
    EXPECT_EQ(value(), 0);
    EXPECT_EQ(word(), kMutexHeld);
    EXPECT_FALSE(mutex.taken_over);
    proxy_mutex_unlock(mutex);
    expect_free();
    EXPECT_THAT(limits, ElementsAre()) << "without a limit";
}

TEST_F(ProxyMutexTest, SaysWhoWaitsForIt) {
    static RecordingProxy* seen;
    seen = &proxy;
    os_calls.sem_wait = [](sem_t* semaphore) {
        EXPECT_EQ(proxy_mutex_word(seen->mutex()), kMutexWanted);
        return ::sem_wait(semaphore);
    };
    os_calls.sem_post = [](sem_t* semaphore) {
        EXPECT_EQ(proxy_mutex_word(seen->mutex()), kMutexWanted) << "before it is let go";
        return ::sem_post(semaphore);
    };
    ASSERT_TRUE(lock(0));
    proxy_mutex_unlock(mutex);
    expect_free();
}

// ---- killed hosts ----

TEST_F(ProxyMutexTest, IsTakenOverFromAHolderThatWasKilled) {
    kill_a_holder();
    BareHandle handle;
    ASSERT_EQ(handle.open(), 0);
    EXPECT_EQ(limits.at(0), 100);
    expect_free();
}

TEST_F(ProxyMutexTest, IsTakenOverFromItWhateverThePatience) {
    for (const uint32_t patience_ms : {1U, 99U, 60'000U}) {
        kill_a_holder();
        limits.clear();
        ASSERT_TRUE(lock(patience_ms));
        EXPECT_THAT(limits, ElementsAre(100));
        proxy_mutex_unlock(mutex);
        expect_free();
    }
}

TEST_F(ProxyMutexTest, IsTakenOverLaterWhereItIsNotCertain) {
    for (const uint32_t patience_ms : {0U, 5000U, 60'000U}) {
        kill_behind_the_wait();
        limits.clear();
        ASSERT_TRUE(lock(patience_ms));
        EXPECT_THAT(limits, ElementsAre(5000));
        EXPECT_TRUE(mutex.taken_over);
        proxy_mutex_unlock(mutex);
        expect_free();
    }
}

TEST_F(ProxyMutexTest, ALessPatientHostLeavesThatToOthers) {
    kill_behind_the_wait();
    EXPECT_FALSE(lock(4999));
    EXPECT_FALSE(lock(50));
    EXPECT_THAT(limits, ElementsAre(4999, 50));
    EXPECT_EQ(word(), kMutexWanted);
    ASSERT_TRUE(lock(0));
    proxy_mutex_unlock(mutex);
    expect_free();
}

TEST_F(ProxyMutexTest, AHolderThatWasKilledBehindThePostHarmsNobody) {
    kill_while_choosing([] {
        os_calls.sem_post = [](sem_t* semaphore) {
            (void)::sem_post(semaphore);
            return raise(SIGKILL);
        };
    });
    EXPECT_EQ(value(), 1);
    EXPECT_EQ(word(), kMutexWanted);
    ASSERT_TRUE(lock(0));
    EXPECT_FALSE(mutex.taken_over);
    proxy_mutex_unlock(mutex);
    expect_free();
}

// The proxy was started anew on the same semaphore.
TEST_F(ProxyMutexTest, AnOldWordOnAFreeMutexIsNotNeeded) {
    word() = kMutexHeld;
    ASSERT_TRUE(lock(0));
    EXPECT_FALSE(mutex.taken_over);
    EXPECT_EQ(value(), 0);
    proxy_mutex_unlock(mutex);
    expect_free();
}

TEST_F(ProxyMutexTest, AWaitThatFailsTakesNothingOver) {
    kill_a_holder();
    os_calls.sem_timedwait = [](sem_t*, const timespec*) {
        errno = EINVAL;
        return -1;
    };
    EXPECT_FALSE(lock(0));
    EXPECT_EQ(word(), kMutexHeld);
}

// ---- hosts with another driver ----

TEST_F(ProxyMutexTest, IsNeverTakenFromAStranger) {
    hold_as_a_stranger();
    EXPECT_FALSE(lock(60'000));
    EXPECT_THAT(limits, ElementsAre(60'000));
    EXPECT_EQ(value(), 0);
    EXPECT_EQ(word(), 0U);
    os_calls.sem_wait = [](sem_t* semaphore) {
        EXPECT_EQ(::sem_post(semaphore), 0); // the stranger is done
        return ::sem_wait(semaphore);
    };
    ASSERT_TRUE(lock(0)) << "a wait without a limit";
    proxy_mutex_unlock(mutex);
    expect_free();
}

TEST_F(ProxyMutexTest, AStrangerBehindAKilledHostGetsItsTime) {
    hold_as_a_stranger();
    word() = kMutexHeld;
    os_calls.sem_timedwait = [](sem_t* semaphore, const timespec*) {
        EXPECT_EQ(::sem_post(semaphore), 0); // the stranger is done
        return ::sem_wait(semaphore);
    };
    ASSERT_TRUE(lock(0));
    EXPECT_FALSE(mutex.taken_over);
    proxy_mutex_unlock(mutex);
    expect_free();
}

TEST_F(ProxyMutexTest, AStrangerThatWasTakenForDeadMayPostAfterAll) {
    hold_as_a_stranger();
    word() = kMutexHeld;
    ASSERT_TRUE(lock(0));
    EXPECT_TRUE(mutex.taken_over);
    ASSERT_EQ(sem_post(proxy.mutex()), 0);
    proxy_mutex_unlock(mutex);
    expect_free();
}

// ---- living hosts ----

// Another open file description has the byte, as another process has.
class LivingChooser {
public:
    LivingChooser() : fd_(shm_open(SHM_DEVICE_TABLE_NAME, O_RDWR, 0)) {
        EXPECT_TRUE(object_try_lock({.fd = fd_, .first = kMutexGateByte, .count = 1},
                                    ObjectLock::Exclusive));
    }
    ~LivingChooser() { close(fd_); }
    LivingChooser(const LivingChooser&) = delete;
    LivingChooser& operator=(const LivingChooser&) = delete;

private:
    int fd_;
};

TEST_F(ProxyMutexTest, IsNeverTakenFromALivingHost) {
    hold_as_a_stranger();
    word() = kMutexHeld;
    {
        const LivingChooser living;
        EXPECT_FALSE(lock(30));
        EXPECT_EQ(sleeps, 30);
        EXPECT_THAT(limits, ElementsAre());
        EXPECT_EQ(word(), kMutexHeld);
    }
    ASSERT_TRUE(lock(30));
    proxy_mutex_unlock(mutex);
    expect_free();
}

TEST_F(ProxyMutexTest, WaitsWithoutALimitForALivingHost) {
    static std::unique_ptr<LivingChooser> living;
    living = std::make_unique<LivingChooser>();
    os_calls.usleep = [](useconds_t) {
        if (++sleeps == 500) {
            living.reset();
        }
        return 0;
    };
    ASSERT_TRUE(lock(0));
    EXPECT_EQ(sleeps, 500);
    proxy_mutex_unlock(mutex);
    expect_free();
}

// A child of fork has the descriptor too, and lives on.
TEST_F(ProxyMutexTest, TheLockGoesWithTheMutexAndNotWithTheDescriptor) {
    ASSERT_TRUE(lock(0));
    const pid_t child = fork();
    if (child == 0) {
        for (;;) {
            pause();
        }
    }
    proxy_mutex_unlock(mutex);
    EXPECT_TRUE(lock(5)) << "the child is in the way";
    proxy_mutex_unlock(mutex);
    EXPECT_EQ(sleeps, 0);
    kill(child, SIGKILL);
    EXPECT_EQ(waitpid(child, nullptr, 0), child);
}

// ---- where there are no locks ----

TEST_F(ProxyMutexTest, WithoutLocksNoWordIsLeft) {
    os_calls.fcntl = test_support::no_locks;
    word() = kMutexHeld;
    ASSERT_TRUE(lock(0));
    EXPECT_EQ(word(), kMutexHeld) << "not looked at, not touched";
    proxy_mutex_unlock(mutex);
    EXPECT_EQ(value(), 1);
    hold_as_a_stranger();
    EXPECT_FALSE(lock(70));
    EXPECT_THAT(limits, ElementsAre(70));
    EXPECT_EQ(sleeps, 0);
    EXPECT_EQ(sem_post(proxy.mutex()), 0);
}

TEST_F(ProxyMutexTest, WithoutADeviceTableToo) {
    os_calls.shm_open = [](const char*, int, mode_t) {
        errno = EMFILE;
        return -1;
    };
    ASSERT_TRUE(lock(0));
    EXPECT_EQ(word(), 0U);
    proxy_mutex_unlock(mutex);
    expect_free();
}

} // namespace
