#include "common/interrupt.h"

#include <atomic>
#include <csignal>

namespace talvor {
namespace {

std::atomic<int> g_signal{0};
static_assert(std::atomic<int>::is_always_lock_free, "the handler may only use such");

void remember(int signal) {
    g_signal.store(signal);
}

} // namespace

void watch_interrupts() {
    struct sigaction action {};
    action.sa_handler = remember;
    // Back to the default with the first signal.
    action.sa_flags = static_cast<int>(SA_RESETHAND | SA_RESTART);
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
}

int interrupt_signal() noexcept {
    return g_signal.load();
}

Status check_interrupt() {
    if (interrupt_signal() == 0) {
        return {};
    }
    return refused_error("interrupted", "stopped at the user's request");
}

} // namespace talvor
