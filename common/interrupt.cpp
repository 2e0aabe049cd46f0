#include "common/interrupt.h"

#include "common/interrupt_scope.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <ctime>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/prctl.h>
#include <sys/time.h>
#include <unistd.h>

namespace talvor {
namespace {

constexpr std::array kSignals{SIGINT, SIGTERM, SIGQUIT, SIGHUP};

std::atomic<int> g_signal{0};
static_assert(std::atomic<int>::is_always_lock_free, "the handler may only use such");
// Readable for good once a signal has asked, so that a sleep which begins just then ends, too.
std::atomic<int> g_asked{-1};

std::atomic<bool> g_watching{false}; // the signals are ours until the process ends
std::atomic<bool> g_held{false};     // see InterruptsHeld
std::atomic<int> g_only_asking{0};   // objects of SignalsOnlyAsk

// What check_interrupt() says about the end of the time; written before the time runs.
std::string& over_reason() {
    static std::string reason;
    return reason;
}

void remember(int signal) {
    const int error = errno;
    g_signal.store(signal);
    const uint64_t one = 1;
    [[maybe_unused]] const ssize_t written = write(g_asked.load(), &one, sizeof one);
    errno = error;
}

bool is_ignored(int signal) {
    struct sigaction action {};
    return sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

timespec time_of(std::chrono::nanoseconds time) {
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(time);
    return {.tv_sec = seconds.count(), .tv_nsec = (time - seconds).count()};
}

void watch_signals() {
    struct sigaction action {};
    action.sa_handler = remember;
    // Back to the default with the first signal.
    action.sa_flags = static_cast<int>(SA_RESETHAND | SA_RESTART);
    for (const int signal : kSignals) {
        if (signal != SIGHUP || !is_ignored(signal)) {
            sigaction(signal, &action, nullptr);
        }
    }
}

void forget_signal() {
    uint64_t count = 0;
    [[maybe_unused]] const ssize_t emptied = read(g_asked.load(), &count, sizeof count);
    g_signal.store(0);
}

} // namespace

void watch_interrupts() {
    g_asked = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    watch_signals();
    g_watching = true;
}

void interrupt_after(std::chrono::nanoseconds time, const std::string& reason) {
    over_reason() = reason;
    struct sigaction action {};
    action.sa_handler = remember;
    action.sa_flags = SA_RESTART;
    sigaction(SIGALRM, &action, nullptr);
    // No time at all would set no timer.
    const timespec left = time_of(std::max(time, std::chrono::nanoseconds(1000)));
    const itimerval timer{.it_interval = {}, .it_value = {left.tv_sec, left.tv_nsec / 1000}};
    setitimer(ITIMER_REAL, &timer, nullptr);
}

bool time_is_over() noexcept {
    return interrupt_signal() == SIGALRM;
}

void forget_interrupt() {
    forget_signal();
    watch_signals();
}

int interrupt_signal() noexcept {
    return g_signal.load();
}

int interrupt_descriptor() noexcept {
    return g_asked.load();
}

namespace {

// A signal that was watched from now on asks as often as it comes, or, again, once.
void let_ask_again(bool again) {
    struct sigaction action {};
    action.sa_handler = remember;
    action.sa_flags = static_cast<int>(again ? SA_RESTART : SA_RESETHAND | SA_RESTART);
    for (const int signal : kSignals) {
        if (is_ignored(signal)) {
            continue;
        }
        const bool asked = interrupt_signal() == signal;
        if (!again && asked) {
            std::signal(signal, SIG_DFL);
        } else {
            sigaction(signal, &action, nullptr);
        }
    }
}

} // namespace

SignalsOnlyAsk::SignalsOnlyAsk() noexcept {
    if (g_only_asking++ == 0 && g_watching) {
        let_ask_again(true);
    }
}

SignalsOnlyAsk::~SignalsOnlyAsk() {
    if (--g_only_asking == 0 && g_watching) {
        let_ask_again(false);
    }
}

InterruptsHeld::InterruptsHeld() noexcept {
    g_held = true;
}

InterruptsHeld::~InterruptsHeld() {
    g_held = false;
}

Status check_interrupt() {
    if (interrupt_signal() == 0 || g_held.load()) {
        return {};
    }
    if (time_is_over()) {
        return refused_error("timeout", over_reason());
    }
    return refused_error("interrupted", "stopped at the user's request");
}

void sleep_unless_interrupted(std::chrono::nanoseconds time) {
    using Clock = std::chrono::steady_clock;
    const Clock::time_point end = Clock::now() + time;
    pollfd asked{.fd = interrupt_descriptor(), .events = POLLIN, .revents = 0}; // -1 is passed over
    for (;;) {
        const timespec left = time_of(std::max(end - Clock::now(), Clock::duration(0)));
        if (ppoll(&asked, 1, &left, nullptr) >= 0 || errno != EINTR) {
            return;
        }
    }
}

Status await_input(int fd) {
    std::array<pollfd, 2> waits{pollfd{.fd = fd, .events = POLLIN, .revents = 0},
                                pollfd{.fd = g_asked.load(), .events = POLLIN, .revents = 0}};
    while (poll(waits.data(), waits.size(), -1) < 0 && errno == EINTR) {
    }
    return check_interrupt();
}

InterruptScope::InterruptScope() {
    if (g_asked.load() < 0) {
        g_asked = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    }
    forget_signal();
    struct sigaction action {};
    action.sa_handler = remember;
    action.sa_flags = SA_RESTART;
    sigaction(SIGINT, &action, &before_);
}

InterruptScope::~InterruptScope() {
    sigaction(SIGINT, &before_, nullptr);
    forget_signal();
}

void end_by_signal(int signal) {
    prctl(PR_SET_DUMPABLE, 0);
    std::signal(signal, SIG_DFL);
    raise(signal);
}

} // namespace talvor
