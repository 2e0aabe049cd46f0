// Hosts that are killed while their exchange with the proxy is under way, and the handle that opens
// next: it takes no answer for its own that is not, and waits for none that does not come.
#include "support/bare_handle.h"
#include "support/failing_os.h"
#include "support/leak_guard.h"
#include "support/recording_proxy.h"
#include "transport/exchange_note.h"
#include "transport/port.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <functional>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using test_support::BareHandle;
using test_support::LeakGuard;
using test_support::RecordingProxy;
using test_support::RestoredOs;
using testing::ElementsAre;

int posts_of(sem_t* semaphore) {
    int value = -1;
    EXPECT_EQ(sem_getvalue(semaphore, &value), 0);
    return value;
}

// Holds the proxy at the end of a command, until it is let go.
class HeldCommand {
public:
    explicit HeldCommand(test_support::RecordedPod& pod, uint32_t command = SHM_CMD_EXECUTE) {
        held = false;
        go = false;
        pod.interfere([command](lcl_shm& block) {
            if (block.cmd == command && !held.exchange(true)) {
                held.notify_all();
                go.wait(false);
            }
        });
    }
    ~HeldCommand() { let_go(); }
    HeldCommand(const HeldCommand&) = delete;
    HeldCommand& operator=(const HeldCommand&) = delete;
    static void wait() { held.wait(false); }
    static bool is_held() { return held; }
    static void let_go() {
        go = true;
        go.notify_all();
    }

private:
    static inline std::atomic<bool> held; // of the class: the proxy outlives a holder
    static inline std::atomic<bool> go;
};

// A process that runs until it kills itself or is killed.
class Host {
public:
    explicit Host(const std::function<void()>& work) : pid_(fork()) {
        if (pid_ == 0) {
            work();
            _exit(1);
        }
    }
    Host(const Host&) = delete;
    Host& operator=(const Host&) = delete;
    ~Host() { EXPECT_EQ(pid_, 0) << "not waited for"; }
    void die() {
        kill(pid_, SIGKILL);
        wait_for_death();
    }
    void wait_for_death() {
        int status = 0;
        EXPECT_EQ(waitpid(pid_, &status, 0), pid_);
        EXPECT_TRUE(WIFSIGNALED(status)) << status;
        pid_ = 0;
    }

private:
    pid_t pid_;
};

void read_one_word(BareHandle& handle, uint16_t* word) {
    PortRead(handle.get(), TBC_PORT_RECEIVE, word);
    EXPECT_EQ(qel_PerformIo(handle.get()), 0);
}

void open_and_read() {
    BareHandle handle;
    uint16_t word = 0;
    if (handle.open() == 0) {
        read_one_word(handle, &word);
    }
}

// Kills itself where it would post start for a batch.
void open_and_die_before_the_batch() {
    BareHandle handle;
    if (handle.open() == 0) {
        os_calls.sem_post = [](sem_t*) { return raise(SIGKILL); };
        uint16_t word = 0;
        read_one_word(handle, &word);
    }
}

class KilledHostTest : public testing::Test {
protected:
    KilledHostTest() {
        // Each look at the clock finds it a millisecond further.
        os_calls.clock_gettime = [](clockid_t, timespec* now) {
            static std::atomic<int64_t> ms;
            const int64_t time = ++ms;
            *now = {.tv_sec = time / 1000, .tv_nsec = time % 1000 * 1'000'000};
            return 0;
        };
    }

    lcl_shm& block() { return *proxy.pod().block(); }
    uint32_t note() { return block().data & ~kNoteArgument; }

    // A fresh handle that is in step reads what the pod answers to its own batches.
    void expect_in_step(BareHandle& fresh) {
        for (const uint16_t expected : {uint16_t{11}, uint16_t{22}, uint16_t{33}}) {
            proxy.pod().answer(TBC_PORT_RECEIVE, {expected});
            uint16_t word = 0;
            read_one_word(fresh, &word);
            EXPECT_EQ(word, expected);
        }
        EXPECT_EQ(posts_of(fresh.inform.evStartSem), 0);
        EXPECT_EQ(posts_of(fresh.inform.evCompleteSem), 0);
        EXPECT_EQ(note(), 0U);
    }

    void kill_in_the_batch() {
        Host host(open_and_read);
        HeldCommand::wait();
        host.die();
        EXPECT_EQ(note(), kNoteUnderWay);
    }

    LeakGuard leaks;
    RestoredOs restored;
    RecordingProxy proxy;
    BareHandle handle;
};

// The proxy goes on when the next handle has told it of its attach.
TEST_F(KilledHostTest, TheNextOneOpensWhileTheBatchRuns) {
    HeldCommand held(proxy.pod());
    kill_in_the_batch();
    static int posts;
    posts = 0;
    os_calls.sem_post = [](sem_t* semaphore) {
        const int result = ::sem_post(semaphore);
        if (++posts == 2) { // the mutex first
            HeldCommand::let_go();
        }
        return result;
    };
    ASSERT_EQ(handle.open(), 0);
    expect_in_step(handle);
    EXPECT_THAT(proxy.pod().commands(),
                ElementsAre(SHM_CMD_ATTACH, SHM_CMD_EXECUTE, SHM_CMD_ATTACH, SHM_CMD_EXECUTE,
                            SHM_CMD_EXECUTE, SHM_CMD_EXECUTE));
}

TEST_F(KilledHostTest, TheNextOneOpensWhenTheBatchHasEnded) {
    HeldCommand held(proxy.pod());
    kill_in_the_batch();
    sem_t* const complete = sem_open("talvor_lcl_s_c_000001", 0);
    HeldCommand::let_go();
    while (posts_of(complete) == 0) {
        sched_yield();
    }
    ASSERT_EQ(handle.open(), 0);
    expect_in_step(handle);
    sem_close(complete);
}

// Nothing is owed, and the next handle finds that out without a wait that has no end.
TEST_F(KilledHostTest, TheProxyWasNeverToldOfTheBatch) {
    Host host(open_and_die_before_the_batch);
    host.wait_for_death();
    EXPECT_EQ(note(), kNoteUnderWay);
    ASSERT_EQ(handle.open(), 0);
    expect_in_step(handle);
}

TEST_F(KilledHostTest, AProxyLeavesWhatItLikesInTheBlock) {
    for (const uint32_t left : {0xFFFFFFFFU, 0x12345678U, kNoteUnderWay | 0x1234U}) {
        SCOPED_TRACE(left);
        block().data = left;
        ASSERT_EQ(handle.open(), 0);
        expect_in_step(handle);
        EXPECT_EQ(CloseUsbDevice(handle.get()), 0);
    }
}

TEST_F(KilledHostTest, WhenThePatienceIsOverTheNextOneTakesItsAttachBack) {
    HeldCommand held(proxy.pod());
    kill_in_the_batch();
    setenv("TALVOR_PROXY_PATIENCE_MS", "20", 1);
    EXPECT_EQ(handle.open(), -1);
    EXPECT_EQ(handle.open(), -1);
    EXPECT_EQ(note(), kNoteUnderWay);
    EXPECT_FALSE(handle.inform.podHold.held);
    HeldCommand::let_go();
    unsetenv("TALVOR_PROXY_PATIENCE_MS");
    ASSERT_EQ(handle.open(), 0);
    expect_in_step(handle);
    EXPECT_THAT(proxy.pod().commands(),
                ElementsAre(SHM_CMD_ATTACH, SHM_CMD_EXECUTE, SHM_CMD_ATTACH, SHM_CMD_EXECUTE,
                            SHM_CMD_EXECUTE, SHM_CMD_EXECUTE));
}

// It has begun with the attach, so that nobody can take it back: its answer is still to come.
TEST_F(KilledHostTest, WhenThePatienceIsOverTheProxyOwesTheAnswerToAnAttachThatItTook) {
    Host host(open_and_die_before_the_batch);
    host.wait_for_death();
    HeldCommand held(proxy.pod(), SHM_CMD_ATTACH);
    os_calls.clock_gettime = [](clockid_t, timespec* now) { // stands until the proxy is held
        static std::atomic<int64_t> seconds;
        *now = {.tv_sec = HeldCommand::is_held() ? ++seconds : seconds.load(), .tv_nsec = 0};
        return 0;
    };
    setenv("TALVOR_PROXY_PATIENCE_MS", "20000", 1);
    EXPECT_EQ(handle.open(), -1);
    unsetenv("TALVOR_PROXY_PATIENCE_MS");
    EXPECT_EQ(note(), kNoteUnderWay);
    EXPECT_FALSE(handle.inform.podHold.held);
    HeldCommand::let_go();
    ASSERT_EQ(handle.open(), 0);
    expect_in_step(handle);
    EXPECT_THAT(proxy.pod().commands(),
                ElementsAre(SHM_CMD_ATTACH, SHM_CMD_ATTACH, SHM_CMD_ATTACH, SHM_CMD_EXECUTE,
                            SHM_CMD_EXECUTE, SHM_CMD_EXECUTE));
}

TEST_F(KilledHostTest, AnAttachThatCannotBePostedFailsTheOpen) {
    HeldCommand held(proxy.pod());
    kill_in_the_batch();
    static int posts;
    posts = 0;
    os_calls.sem_post = [](sem_t* semaphore) {
        return ++posts == 2 ? -1 : ::sem_post(semaphore); // the mutex first
    };
    EXPECT_EQ(handle.open(), -1);
    EXPECT_EQ(note(), kNoteUnderWay);
    HeldCommand::let_go();
    ASSERT_EQ(handle.open(), 0);
    expect_in_step(handle);
}

// The second was killed while it waited behind the first one's batch.
TEST_F(KilledHostTest, TwoAreKilledOneAfterTheOther) {
    HeldCommand held(proxy.pod());
    kill_in_the_batch();
    sem_t* const start = sem_open("talvor_lcl_s_s_000001", 0);
    Host second(open_and_read);
    while (posts_of(start) == 0) {
        sched_yield();
    }
    second.die();
    setenv("TALVOR_PROXY_PATIENCE_MS", "20", 1);
    EXPECT_EQ(handle.open(), -1);
    unsetenv("TALVOR_PROXY_PATIENCE_MS");
    EXPECT_EQ(posts_of(start), 0) << "nobody is left to wait for that attach";
    sem_close(start);
    HeldCommand::let_go();
    ASSERT_EQ(handle.open(), 0);
    expect_in_step(handle);
}

// What is under way may be a living one's: hosts with a lock of their own see to it that it is not.
TEST_F(KilledHostTest, NothingIsTakenFromAHandleThatLives) {
    BareHandle living;
    ASSERT_EQ(living.open(), 0);
    block().data = kNoteUnderWay;
    ASSERT_EQ(sem_post(living.inform.evCompleteSem), 0);
    ASSERT_EQ(handle.open(), 0);
    while (proxy.pod().commands().size() < 2 || posts_of(living.inform.evCompleteSem) == 0) {
        sched_yield();
    }
    EXPECT_EQ(posts_of(living.inform.evCompleteSem), 1);
    EXPECT_EQ(sem_wait(living.inform.evCompleteSem), 0);
}

TEST_F(KilledHostTest, WithoutLocksNobodyIsTakenForDead) {
    os_calls.fcntl = test_support::no_locks;
    block().data = kNoteUnderWay;
    ASSERT_EQ(handle.open(), 0);
    EXPECT_FALSE(handle.inform.podHold.held);
    expect_in_step(handle);
}

// ---- the note ----

TEST_F(KilledHostTest, AnExchangeIsNotedFromBeforeThePostUntilTheAnswer) {
    ASSERT_EQ(handle.open(), 0);
    EXPECT_EQ(block().data, 0U);
    static lcl_shm* seen;
    static uint32_t at_the_post;
    seen = &block();
    os_calls.sem_post = [](sem_t* semaphore) {
        at_the_post = seen->data;
        return ::sem_post(semaphore);
    };
    EXPECT_EQ(wr_supp_reg(handle.get(), 0x1234), 0);
    EXPECT_EQ(at_the_post, kNoteUnderWay | 0x1234U);
    EXPECT_EQ(block().data, 0x1234U);
    uint16_t word = 0;
    read_one_word(handle, &word);
    EXPECT_EQ(at_the_post, kNoteUnderWay | 0x1234U);
    EXPECT_EQ(block().data, 0x1234U);
    EXPECT_THAT(proxy.pod().support_writes(), ElementsAre(0x1234));
}

TEST_F(KilledHostTest, WhatAnotherGaveUpStaysNoted) {
    ASSERT_EQ(handle.open(), 0);
    block().data = kNoteGivenUp | 7U;
    uint16_t word = 0;
    read_one_word(handle, &word);
    EXPECT_EQ(block().data, kNoteGivenUp | 7U);
}

TEST_F(KilledHostTest, AnExchangeThatCannotBePostedIsNotNoted) {
    ASSERT_EQ(handle.open(), 0);
    os_calls.sem_post = [](sem_t*) { return -1; };
    EXPECT_EQ(wr_supp_reg(handle.get(), 5), -190);
    EXPECT_EQ(block().data, 5U);
}

} // namespace
