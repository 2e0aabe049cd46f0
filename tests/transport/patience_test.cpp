// A proxy that does not answer, and a host that has a limit for its wait.
#include "support/bare_handle.h"
#include "support/empty_batch.h"
#include "support/failing_os.h"
#include "support/leak_guard.h"
#include "support/recording_proxy.h"
#include "transport/port.h"
#include "transport/post_wait.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <memory>
#include <vector>

namespace {

using test_support::BareHandle;
using test_support::LeakGuard;
using test_support::RecordingProxy;
using test_support::RestoredOs;
using testing::ElementsAre;

constexpr const char* kVariable = "TALVOR_PROXY_PATIENCE_MS";

// A variable of the environment, for as long as a test needs it.
class Patience {
public:
    explicit Patience(const char* text) { setenv(kVariable, text, 1); }
    Patience(const Patience&) = delete;
    Patience& operator=(const Patience&) = delete;
    ~Patience() { unsetenv(kVariable); }
};

int posts_of(sem_t* semaphore) {
    int value = -1;
    EXPECT_EQ(sem_getvalue(semaphore, &value), 0);
    return value;
}

int64_t clock_ms;
int clock_reads;

// Each look at the clock finds it a millisecond further.
int stepping_clock(clockid_t clock, timespec* now) {
    EXPECT_EQ(clock, CLOCK_MONOTONIC);
    ++clock_reads;
    ++clock_ms;
    *now = {.tv_sec = clock_ms / 1000, .tv_nsec = clock_ms % 1000 * 1'000'000};
    return 0;
}

// A handle on a block behind which nobody is.
class NoProxyTest : public testing::Test {
protected:
    NoProxyTest() {
        sem_init(&start, 0, 0);
        sem_init(&complete, 0, 0);
        test_support::empty_batch(*block);
        handle.inform.ProxyShm = block.get();
        handle.inform.evStartSem = &start;
        handle.inform.evCompleteSem = &complete;
        handle.inform.patienceMs = 30;
        clock_reads = 0;
        os_calls.clock_gettime = stepping_clock;
        os_calls.sched_yield = [] { return 0; }; // a slice of the scheduler each on a busy machine
    }
    ~NoProxyTest() override {
        handle.inform.ProxyShm = nullptr;
        handle.inform.evStartSem = nullptr;
        handle.inform.evCompleteSem = nullptr;
        batch_release(handle.get());
        sem_destroy(&start);
        sem_destroy(&complete);
    }
    // As if the proxy took each command, and died over it.
    static void have_commands_taken() {
        os_calls.sem_post = [](sem_t*) { return 0; };
    }

    RestoredOs restored;
    std::unique_ptr<lcl_shm> block = std::make_unique<lcl_shm>();
    sem_t start{};
    sem_t complete{};
    BareHandle handle;
};

// Nobody was told of the command, so nobody will answer it: even an unlimited wait would be in
// vain.
TEST_F(NoProxyTest, ACommandThatCannotBePostedIsNotWaitedFor) {
    handle.inform.patienceMs = 0;
    os_calls.sem_post = [](sem_t*) {
        errno = EINVAL;
        return -1;
    };
    EXPECT_EQ(channel_exchange(handle.get(), SHM_CMD_EXECUTE), -140);
    EXPECT_FALSE(channel_is_open(handle.get()));
    EXPECT_EQ(wr_supp_reg(handle.get(), 1), -190);
    EXPECT_EQ(qel_PerformIo(handle.get()), -140);
}

TEST_F(NoProxyTest, AFlushEndsWhenThePatienceIsOver) {
    uint16_t word = 0x5A5A;
    PortRead(handle.get(), TBC_PORT_RECEIVE, &word);
    EXPECT_EQ(qel_PerformIo(handle.get()), -140);
    EXPECT_EQ(clock_reads, 31);
    EXPECT_EQ(word, 0x5A5A);
    EXPECT_FALSE(channel_is_open(handle.get()));
}

TEST_F(NoProxyTest, NothingWaitsASecondTime) {
    PortWrite(handle.get(), TBC_PORT_SEND, 1);
    EXPECT_EQ(qel_PerformIo(handle.get()), -140);
    clock_reads = 0;
    PortWrite(handle.get(), TBC_PORT_SEND, 2);
    EXPECT_EQ(qel_PerformIo(handle.get()), -140);
    EXPECT_EQ(wr_supp_reg(handle.get(), 3), -190);
    EXPECT_EQ(clock_reads, 0);
    EXPECT_EQ(posts_of(&start), 0) << "no further command";
    EXPECT_EQ(block->cmd, SHM_CMD_EXECUTE);
}

TEST_F(NoProxyTest, ASupportWriteEndsWithItsOwnCode) {
    EXPECT_EQ(wr_supp_reg(handle.get(), 3), -190);
    EXPECT_FALSE(channel_is_open(handle.get()));
}

TEST_F(NoProxyTest, ACommandThatNobodyTookIsTakenBack) {
    EXPECT_EQ(wr_supp_reg(handle.get(), 0x1234), -190);
    EXPECT_EQ(posts_of(&start), 0);
    EXPECT_EQ(block->data, 0x1234U) << "no answer is owed";
}

TEST_F(NoProxyTest, ACommandThatWasTakenIsOwedAnAnswer) {
    have_commands_taken();
    EXPECT_EQ(wr_supp_reg(handle.get(), 0x1234), -190);
    EXPECT_EQ(block->data & 0xFFFFU, 0x1234U) << "the proxy may still read it";
    EXPECT_EQ(block->data >> 16, 0x0B5EU);
}

TEST_F(NoProxyTest, AnAnswerInTimeIsTaken) {
    os_calls.clock_gettime = [](clockid_t, timespec* now) {
        *now = {};
        return 0;
    };
    os_calls.sem_timedwait = [](sem_t* semaphore, const timespec* deadline) {
        static int attempts = 0;
        return ++attempts < 100 ? -1 : ::sem_timedwait(semaphore, deadline);
    };
    sem_post(&complete);
    block->status = -5;
    EXPECT_EQ(channel_exchange(handle.get(), SHM_CMD_EXECUTE), -5);
    EXPECT_TRUE(channel_is_open(handle.get()));
    EXPECT_EQ(posts_of(&complete), 0);
}

TEST_F(NoProxyTest, AnAnswerWithTheLastLookIsTaken) {
    handle.inform.patienceMs = 1;
    sem_post(&complete);
    EXPECT_EQ(channel_exchange(handle.get(), SHM_CMD_EXECUTE), 0);
    EXPECT_TRUE(channel_is_open(handle.get()));
}

TEST_F(NoProxyTest, WithoutALimitNoClockIsRead) {
    handle.inform.patienceMs = 0;
    static int attempts;
    attempts = 0;
    os_calls.sem_timedwait = [](sem_t*, const timespec*) { return ++attempts == 300 ? 0 : -1; };
    EXPECT_EQ(channel_exchange(handle.get(), SHM_CMD_EXECUTE), 0);
    EXPECT_EQ(attempts, 300);
    EXPECT_EQ(clock_reads, 0);
    EXPECT_TRUE(channel_is_open(handle.get()));
}

TEST(PatienceTest, IsReadWithEachOpen) {
    struct Case {
        const char* text;
        uint32_t patience_ms;
    };
    for (const auto& [text, patience_ms] : {
             Case{"1", 1},
             Case{"2500", 2500},
             Case{"0x10", 16},
             Case{"4294967295", 4294967295U},
             Case{"4294967296", 4294967295U},
             Case{"0", 0},
             Case{"-1", 0},
             Case{"", 0},
             Case{"soon", 0},
         }) {
        SCOPED_TRACE(text);
        const Patience variable(text);
        BareHandle handle;
        handle.inform.proxyLost = true;
        EXPECT_EQ(handle.open(), -1) << "no proxy runs";
        EXPECT_EQ(handle.inform.patienceMs, patience_ms);
        EXPECT_FALSE(handle.inform.proxyLost);
    }
    BareHandle handle;
    handle.inform.patienceMs = 7;
    EXPECT_EQ(handle.open(), -1);
    EXPECT_EQ(handle.inform.patienceMs, 0U);
}

// ---- a proxy that answers late ----

// Holds the proxy at the end of its next command, until it is let go. An hour passes with each look
// at the clock while it is held, and no time otherwise.
class HeldProxy {
public:
    explicit HeldProxy(test_support::RecordedPod& pod) {
        holds = false;
        done = false;
        go = false;
        os_calls.clock_gettime = clock_of_the_held;
        pod.interfere([](lcl_shm&) {
            if (!done.exchange(true)) {
                holds = true;
                go.wait(false);
            }
        });
    }
    void let_go() {
        holds = false;
        go = true;
        go.notify_all();
    }

private:
    static inline std::atomic<bool> holds;
    static inline std::atomic<int64_t> hours;
    // Of the class, because the proxy outlives a holder.
    static inline std::atomic<bool> done;
    static inline std::atomic<bool> go;

    static int clock_of_the_held(clockid_t /*clock*/, timespec* now) {
        hours += holds ? 1 : 0;
        *now = {.tv_sec = hours * 3600, .tv_nsec = 0};
        return 0;
    }
};

class LateProxyTest : public testing::Test {
protected:
    // A fresh handle that is in step reads what the pod answers to its own batches.
    void expect_in_step(BareHandle& fresh) {
        for (const uint16_t expected : {uint16_t{11}, uint16_t{22}, uint16_t{33}}) {
            proxy.pod().answer(TBC_PORT_RECEIVE, {expected});
            uint16_t word = 0;
            PortRead(fresh.get(), TBC_PORT_RECEIVE, &word);
            EXPECT_EQ(qel_PerformIo(fresh.get()), 0);
            EXPECT_EQ(word, expected);
        }
        EXPECT_EQ(posts_of(fresh.inform.evCompleteSem), 0);
    }

    LeakGuard leaks;
    RestoredOs restored;
    const Patience patience{"60000"};
    RecordingProxy proxy;
    BareHandle handle;
};

TEST_F(LateProxyTest, AnAttachThatIsNotAnsweredFailsTheOpen) {
    HeldProxy held(proxy.pod());
    EXPECT_EQ(handle.open(), -1);
    EXPECT_EQ(handle.inform.ProxyShm, nullptr);
    EXPECT_EQ(handle.inform.evStartSem, nullptr);
    EXPECT_EQ(handle.inform.evCompleteSem, nullptr);
    held.let_go();
    ASSERT_EQ(handle.open(), 0);
    EXPECT_EQ(proxy.pod().block()->data, 0U);
    expect_in_step(handle);
}

TEST_F(LateProxyTest, ABatchThatIsAnsweredLateDoesNotPutAFreshHandleOutOfStep) {
    ASSERT_EQ(handle.open(), 0);
    HeldProxy held(proxy.pod());
    uint16_t word = 0x5A5A;
    PortRead(handle.get(), TBC_PORT_RECEIVE, &word);
    EXPECT_EQ(qel_PerformIo(handle.get()), -140);
    EXPECT_EQ(CloseUsbDevice(handle.get()), 0);
    held.let_go();
    BareHandle fresh;
    ASSERT_EQ(fresh.open(), 0);
    expect_in_step(fresh);
    EXPECT_EQ(word, 0x5A5A) << "nobody's any more";
}

TEST_F(LateProxyTest, AHandleWithoutALimitWaitsForWhatIsOwedToo) {
    ASSERT_EQ(handle.open(), 0);
    HeldProxy held(proxy.pod());
    EXPECT_EQ(wr_supp_reg(handle.get(), 1), -190);
    held.let_go();
    unsetenv(kVariable);
    BareHandle fresh;
    ASSERT_EQ(fresh.open(), 0);
    EXPECT_EQ(fresh.inform.patienceMs, 0U);
    expect_in_step(fresh);
}

TEST_F(LateProxyTest, WhileTheAnswerIsOwedNoHandleOpens) {
    HeldProxy held(proxy.pod());
    EXPECT_EQ(handle.open(), -1);
    EXPECT_EQ(handle.open(), -1);
    EXPECT_EQ(handle.open(), -1);
    EXPECT_EQ(proxy.pod().block()->data >> 16, 0x0B5EU);
    held.let_go();
    ASSERT_EQ(handle.open(), 0);
    expect_in_step(handle);
    EXPECT_THAT(proxy.pod().commands(), ElementsAre(SHM_CMD_ATTACH, SHM_CMD_ATTACH, SHM_CMD_EXECUTE,
                                                    SHM_CMD_EXECUTE, SHM_CMD_EXECUTE));
}

// A host was killed while it chose its pod.
TEST(HeldMutexTest, APatientHostIsToldThatThereIsNoPod) {
    test_support::LeakGuard leaks;
    test_support::RecordingProxy proxy;
    setenv("TALVOR_PROXY_PATIENCE_MS", "1050", 1);
    ASSERT_EQ(sem_wait(proxy.mutex()), 0);
    static std::vector<timespec> deadlines;
    deadlines.clear();
    const test_support::RestoredOs restored;
    os_calls.clock_gettime = [](clockid_t clock, timespec* now) {
        EXPECT_EQ(clock, CLOCK_REALTIME);
        *now = {.tv_sec = 1000, .tv_nsec = 960'000'000};
        return 0;
    };
    os_calls.sem_timedwait = [](sem_t*, const timespec* deadline) {
        deadlines.push_back(*deadline);
        errno = deadlines.size() == 1 ? EINTR : ETIMEDOUT;
        return -1;
    };
    {
        test_support::BareHandle handle;
        EXPECT_EQ(handle.open(), -1);
    }
    unsetenv("TALVOR_PROXY_PATIENCE_MS");
    ASSERT_EQ(deadlines.size(), 2U) << "a signal does not end it";
    for (const timespec& deadline : deadlines) {
        EXPECT_EQ(deadline.tv_sec, 1002);
        EXPECT_EQ(deadline.tv_nsec, 10'000'000);
    }
    EXPECT_EQ(sem_post(proxy.mutex()), 0);
}

} // namespace
