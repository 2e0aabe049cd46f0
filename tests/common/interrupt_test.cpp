// Signals that ask for the end. Each case is a process of its own: it is at an end afterwards.
#include "common/interrupt.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>
#include <poll.h>
#include <thread>
#include <unistd.h>

namespace talvor {
namespace {

class InterruptTest : public testing::TestWithParam<int> {};

// As a program does it: asked, it cleans up, and then ends as the signal would have it.
[[noreturn]] void end_when_asked(int signal) {
    watch_interrupts();
    if (interrupt_signal() != 0 || !check_interrupt()) {
        std::_Exit(1);
    }
    raise(signal);
    if (interrupt_signal() != signal || check_interrupt()) {
        std::_Exit(2);
    }
    end_by_signal(signal);
    std::_Exit(3);
}

TEST_P(InterruptTest, AsksFirstAndEndsTheProcessAfterwards) {
    EXPECT_EXIT(end_when_asked(GetParam()), testing::KilledBySignal(GetParam()), "");
}

[[noreturn]] void ask_twice(int signal) {
    watch_interrupts();
    raise(signal);
    raise(signal);
    std::_Exit(1);
}

TEST_P(InterruptTest, EndsTheProcessWhenItComesTwice) {
    EXPECT_EXIT(ask_twice(GetParam()), testing::KilledBySignal(GetParam()), "");
}

// Twice, with work under way that must be done, and once more behind it.
[[noreturn]] void ask_during_work(int signal) {
    watch_interrupts();
    raise(signal);
    {
        const InterruptsHeld held;
        raise(signal);
        raise(signal);
        if (!check_interrupt()) {
            std::_Exit(1);
        }
    }
    if (check_interrupt() || interrupt_signal() != signal) {
        std::_Exit(2);
    }
    write(STDERR_FILENO, "done", 4);
    raise(signal);
    std::_Exit(3);
}

TEST_P(InterruptTest, WaitsForWorkThatMustBeDone) {
    EXPECT_EXIT(ask_during_work(GetParam()), testing::KilledBySignal(GetParam()), "done");
}

// As often as it likes, where something must be put right later; work that cannot wait within it.
[[noreturn]] void ask_again_and_again(int signal) {
    watch_interrupts();
    {
        const SignalsOnlyAsk patience;
        raise(signal);
        raise(signal);
        if (check_interrupt()) {
            std::_Exit(1);
        }
        { const InterruptsHeld held; }
        raise(signal);
    }
    write(STDERR_FILENO, "done", 4);
    raise(signal);
    std::_Exit(3);
}

TEST_P(InterruptTest, OnlyAsksWhereSomethingMustBePutRight) {
    EXPECT_EXIT(ask_again_and_again(GetParam()), testing::KilledBySignal(GetParam()), "done");
}

// The first one comes during the work.
[[noreturn]] void ask_first_during_work(int signal) {
    watch_interrupts();
    {
        const InterruptsHeld held;
        raise(signal);
        raise(signal);
    }
    std::_Exit(check_interrupt() ? 1 : interrupt_signal());
}

TEST_P(InterruptTest, IsNotForgottenOverWorkThatMustBeDone) {
    EXPECT_EXIT(ask_first_during_work(GetParam()), testing::ExitedWithCode(GetParam()), "");
}

// Either order: a signal that comes before the sleep begins must end it as well.
[[noreturn]] void sleep_for_ever(int signal, bool before) {
    watch_interrupts();
    std::thread other;
    if (before) {
        raise(signal);
    } else {
        other = std::thread([signal] {
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
            kill(getpid(), signal);
        });
        other.detach();
    }
    sleep_unless_interrupted(std::chrono::hours(10));
    std::_Exit(interrupt_signal());
}

TEST_P(InterruptTest, EndsASleep) {
    EXPECT_EXIT(sleep_for_ever(GetParam(), true), testing::ExitedWithCode(GetParam()), "");
    EXPECT_EXIT(sleep_for_ever(GetParam(), false), testing::ExitedWithCode(GetParam()), "");
}

[[noreturn]] void poll_until_asked(int signal) {
    watch_interrupts();
    pollfd asked{.fd = interrupt_descriptor(), .events = POLLIN, .revents = 0};
    if (poll(&asked, 1, 0) != 0) {
        std::_Exit(1);
    }
    raise(signal);
    std::_Exit(poll(&asked, 1, -1) == 1 && asked.revents == POLLIN ? 0 : 2);
}

TEST_P(InterruptTest, MakesItsDescriptorReadable) {
    EXPECT_EXIT(poll_until_asked(GetParam()), testing::ExitedWithCode(0), "");
}

INSTANTIATE_TEST_SUITE_P(Signals, InterruptTest, testing::Values(SIGINT, SIGTERM, SIGQUIT, SIGHUP));

[[noreturn]] void hang_up_under_nohup() {
    std::signal(SIGHUP, SIG_IGN);
    watch_interrupts();
    raise(SIGHUP);
    std::_Exit(interrupt_signal());
}

TEST(HangUpTest, StaysIgnoredUnderNohup) {
    EXPECT_EXIT(hang_up_under_nohup(), testing::ExitedWithCode(0), "");
}

TEST(SleepTest, EndsByItselfWhereNobodyWatches) {
    sleep_unless_interrupted(std::chrono::milliseconds(1));
    sleep_unless_interrupted(std::chrono::milliseconds(-1));
    EXPECT_EQ(interrupt_signal(), 0);
}

[[noreturn]] void run_out_of_time() {
    watch_interrupts();
    interrupt_after(std::chrono::milliseconds(5), "it took too long");
    sleep_unless_interrupted(std::chrono::hours(10));
    const Status over = check_interrupt();
    const bool told = time_is_over() && !over && over.error().reason == "it took too long";
    std::_Exit(told ? 0 : 1);
}

TEST(InterruptAfterTest, AsksWhenTheTimeIsOver) {
    EXPECT_EXIT(run_out_of_time(), testing::ExitedWithCode(0), "");
}

[[noreturn]] void ask_forget_and_ask_again() {
    watch_interrupts();
    raise(SIGINT);
    forget_interrupt();
    if (interrupt_signal() != 0 || !check_interrupt()) {
        std::_Exit(1);
    }
    raise(SIGINT); // would end it, had the handler not been set again
    sleep_unless_interrupted(std::chrono::hours(10));
    std::_Exit(interrupt_signal() == SIGINT ? 0 : 2);
}

TEST(ForgetInterruptTest, LeavesTheNextOneToAskAgain) {
    EXPECT_EXIT(ask_forget_and_ask_again(), testing::ExitedWithCode(0), "");
}

[[noreturn]] void await_a_pipe(bool interrupted) {
    watch_interrupts();
    int ends[2];
    if (pipe(ends) != 0) {
        std::_Exit(1);
    }
    if (interrupted) {
        raise(SIGTERM);
    } else if (write(ends[1], "x", 1) != 1) {
        std::_Exit(2);
    }
    std::_Exit(await_input(ends[0]) ? 0 : 3);
}

TEST(AwaitInputTest, EndsWithInputOrASignal) {
    EXPECT_EXIT(await_a_pipe(false), testing::ExitedWithCode(0), "");
    EXPECT_EXIT(await_a_pipe(true), testing::ExitedWithCode(3), "");
}

} // namespace
} // namespace talvor
