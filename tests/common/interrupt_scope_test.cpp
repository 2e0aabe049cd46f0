// Ctrl-C for one call out of a program that takes it by itself. Each case is a process of its own.
#include "common/interrupt.h"
#include "common/interrupt_scope.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>

namespace talvor {
namespace {

volatile std::sig_atomic_t g_handled = 0;

void handle(int /*signal*/) {
    g_handled = g_handled + 1;
}

void end_unless(bool holds, int code) {
    if (!holds) {
        std::_Exit(code);
    }
}

[[noreturn]] void interrupt_within() {
    std::signal(SIGINT, handle);
    {
        const InterruptScope scope;
        end_unless(check_interrupt().has_value(), 1);
        raise(SIGINT);
        raise(SIGINT); // the second one asks again, and ends nothing
        end_unless(interrupt_signal() == SIGINT && !check_interrupt(), 2);
        end_unless(g_handled == 0, 3);
    }
    raise(SIGINT);
    end_unless(g_handled == 1, 4);
    std::_Exit(0);
}

TEST(InterruptScopeTest, AsksForTheEndAndGivesTheHandlerBack) {
    EXPECT_EXIT(interrupt_within(), testing::ExitedWithCode(0), "");
}

[[noreturn]] void interrupt_the_first_of_two() {
    std::signal(SIGINT, handle);
    {
        const InterruptScope scope;
        raise(SIGINT);
    }
    const InterruptScope scope;
    end_unless(interrupt_signal() == 0 && check_interrupt().has_value(), 1);
    std::_Exit(0);
}

TEST(InterruptScopeTest, BeginsWithoutWhatWasAskedOfAnother) {
    EXPECT_EXIT(interrupt_the_first_of_two(), testing::ExitedWithCode(0), "");
}

[[noreturn]] void interrupt_where_it_is_ignored() {
    std::signal(SIGINT, SIG_IGN);
    { const InterruptScope scope; }
    raise(SIGINT);
    std::_Exit(std::signal(SIGINT, SIG_DFL) == SIG_IGN ? 0 : 1);
}

TEST(InterruptScopeTest, LeavesSignalsIgnoredThatWereIgnored) {
    EXPECT_EXIT(interrupt_where_it_is_ignored(), testing::ExitedWithCode(0), "");
}

} // namespace
} // namespace talvor
