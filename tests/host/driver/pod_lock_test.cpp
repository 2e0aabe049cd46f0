// Hosts that know of each other keep off each other's pod.
#include "common/child_process.h"
#include "host/driver/pod_lock.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <fcntl.h>
#include <string>
#include <sys/file.h>
#include <sys/mman.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace talvor {
namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;
using testing::StartsWith;

constexpr const char* kBlock = "/talvor_lcl_shm_000077";

// A pod's block as a proxy makes it; `anew` as the next proxy does.
class PodLockTest : public testing::Test {
protected:
    PodLockTest() { make_block(); }
    ~PodLockTest() override { shm_unlink(kBlock); }

    static void make_block() {
        const FileDescriptor block(shm_open(kBlock, O_CREAT | O_EXCL | O_RDWR | O_CLOEXEC, 0666));
        EXPECT_TRUE(block.is_open());
    }
    static void make_block_anew() {
        shm_unlink(kBlock);
        make_block();
    }
    static FileDescriptor open_block() {
        return FileDescriptor(shm_open(kBlock, O_RDONLY | O_CLOEXEC, 0));
    }
    // Locked as a host that is not this program would do it.
    static FileDescriptor locked_block() {
        FileDescriptor block = open_block();
        EXPECT_EQ(flock(block.get(), LOCK_EX | LOCK_NB), 0);
        return block;
    }
    static bool is_free() {
        const FileDescriptor block = open_block();
        return flock(block.get(), LOCK_EX | LOCK_NB) == 0;
    }
    static PodRecord record() {
        PodRecord pod;
        pod.serial = 77;
        pod.block_name = kBlock;
        return pod;
    }
};

TEST_F(PodLockTest, IsHeldForAsLongAsTheObjectLives) {
    {
        const Result<PodLock> lock = PodLock::take(record(), {});
        ASSERT_TRUE(lock);
        EXPECT_FALSE(lock->waited());
        EXPECT_EQ(lock->shared_with(), "");
        EXPECT_FALSE(is_free());
    }
    EXPECT_TRUE(is_free());
}

TEST_F(PodLockTest, RefusesAPodThatIsInUseAndNamesItsUser) {
    const FileDescriptor other = locked_block();
    const Result<PodLock> lock = PodLock::take(record(), {});
    ASSERT_FALSE(lock);
    EXPECT_EQ(lock.error().kind, ErrorKind::Refused);
    EXPECT_EQ(lock.error().thing, "pod 77");
    EXPECT_THAT(lock.error().reason, StartsWith("used by `host_driver_test"));
    EXPECT_THAT(lock.error().reason,
                testing::ContainsRegex("\\(process " + std::to_string(getpid()) +
                                       "\\) since ([0-9-]+ )?[0-9][0-9]:[0-9][0-9]:[0-9][0-9]$"));
    EXPECT_EQ(lock.error().next_step,
              "wait for it with --wait SECONDS, or go on beside it with --share");
}

TEST_F(PodLockTest, IsNotInheritedByChildren) {
    std::optional<ChildProcess> child;
    {
        const Result<PodLock> lock = PodLock::take(record(), {});
        ASSERT_TRUE(lock);
        child = ChildProcess::spawn({.arguments = {"/bin/sleep", "1000"}}).value();
    }
    EXPECT_TRUE(is_free());
    child->signal(SIGKILL);
    child->wait();
}

TEST_F(PodLockTest, GoesOnBesideTheUserWhenAskedTo) {
    const FileDescriptor other = locked_block();
    const Result<PodLock> lock = PodLock::take(record(), {.share = true});
    ASSERT_TRUE(lock);
    EXPECT_THAT(lock->shared_with(), StartsWith("used by `host_driver_test"));
}

TEST_F(PodLockTest, IsTakenByWhoWouldShareAFreePod) {
    const Result<PodLock> lock = PodLock::take(record(), {.share = true});
    ASSERT_TRUE(lock);
    EXPECT_EQ(lock->shared_with(), "");
    EXPECT_FALSE(is_free());
}

TEST_F(PodLockTest, WaitsUntilThePodIsFree) {
    FileDescriptor other = locked_block();
    std::vector<std::string> told;
    PodLockOptions options{.wait = 1h};
    options.on_wait = [&](const std::string& user) {
        told.push_back(user);
        other.reset();
    };
    const Result<PodLock> lock = PodLock::take(record(), options);
    ASSERT_TRUE(lock);
    EXPECT_TRUE(lock->waited());
    ASSERT_EQ(told.size(), 1U);
    EXPECT_THAT(told[0], StartsWith("used by `host_driver_test"));
    EXPECT_FALSE(is_free());
}

TEST_F(PodLockTest, SaysHowLongItWaitedInVain) {
    const FileDescriptor other = locked_block();
    const Result<PodLock> lock = PodLock::take(record(), {.wait = 10ms});
    ASSERT_FALSE(lock);
    EXPECT_THAT(lock.error().reason, HasSubstr("; it was not let go within 0.01 seconds"));
    const Result<PodLock> shared = PodLock::take(record(), {.wait = 10ms, .share = true});
    ASSERT_TRUE(shared);
    EXPECT_NE(shared->shared_with(), "");
}

// The user of the old block keeps its lock on that; the new proxy's pod is free.
TEST_F(PodLockTest, LooksAtTheBlockOfAProxyThatWasStartedAnew) {
    const FileDescriptor other = locked_block();
    PodLockOptions options{.wait = 1h};
    options.on_wait = [](const std::string&) { make_block_anew(); };
    const Result<PodLock> lock = PodLock::take(record(), options);
    ASSERT_TRUE(lock);
    EXPECT_TRUE(lock->waited());
    EXPECT_FALSE(is_free()) << "the lock is on the block that has the name now";
}

TEST_F(PodLockTest, WaitsForTheBlockOfAProxyThatIsBeingStarted) {
    shm_unlink(kBlock);
    std::thread proxy([] {
        std::this_thread::sleep_for(100ms);
        make_block();
    });
    const Result<PodLock> lock = PodLock::take(record(), {.wait = 1h});
    proxy.join();
    EXPECT_TRUE(lock);
}

TEST_F(PodLockTest, SaysThatABlockIsGone) {
    shm_unlink(kBlock);
    for (const bool share : {false, true}) {
        const Result<PodLock> lock = PodLock::take(record(), {.share = share});
        ASSERT_FALSE(lock);
        EXPECT_EQ(lock.error().kind, ErrorKind::Pod);
        EXPECT_EQ(lock.error().reason, std::string("its block ") + kBlock + " is gone");
        EXPECT_EQ(lock.error().next_step, "start the proxy again");
    }
}

} // namespace
} // namespace talvor
