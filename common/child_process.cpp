#include "common/child_process.h"

#include "common/system_calls.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <spawn.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace talvor {
namespace {

constexpr int kKilledBySignal = 128; // as shells report it
constexpr int kUnknownEnd = 127;

// What posix_spawn wants in records of its own.
class Attributes {
public:
    explicit Attributes(const SpawnOptions& options) {
        posix_spawnattr_init(&attributes_);
        posix_spawn_file_actions_init(&actions_);
        sigset_t none;
        sigemptyset(&none);
        sigset_t defaults;
        sigemptyset(&defaults);
        sigaddset(&defaults, SIGPIPE);
        sigaddset(&defaults, SIGIO);
        posix_spawnattr_setsigmask(&attributes_, &none);
        posix_spawnattr_setsigdefault(&attributes_, &defaults);
        int flags = POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF;
        if (options.own_group) {
            posix_spawnattr_setpgroup(&attributes_, 0);
            flags |= POSIX_SPAWN_SETPGROUP;
        }
        posix_spawnattr_setflags(&attributes_, static_cast<short>(flags));
        redirect(options.input, STDIN_FILENO);
        redirect(options.output, STDOUT_FILENO);
        redirect(options.errors, STDERR_FILENO);
        for (const int descriptor : options.kept) {
            // Onto itself: that takes the mark away.
            redirect(descriptor, descriptor);
        }
    }
    ~Attributes() {
        posix_spawn_file_actions_destroy(&actions_);
        posix_spawnattr_destroy(&attributes_);
    }
    Attributes(const Attributes&) = delete;
    Attributes& operator=(const Attributes&) = delete;

    [[nodiscard]] const posix_spawnattr_t* attributes() const noexcept { return &attributes_; }
    [[nodiscard]] const posix_spawn_file_actions_t* actions() const noexcept { return &actions_; }

private:
    void redirect(std::optional<int> from, int to) {
        if (from) {
            posix_spawn_file_actions_adddup2(&actions_, *from, to);
        }
    }

    posix_spawnattr_t attributes_{};
    posix_spawn_file_actions_t actions_{};
};

} // namespace

void keep_child_ends() noexcept {
    struct sigaction present {};
    if (sigaction(SIGCHLD, nullptr, &present) == 0 && present.sa_handler == SIG_IGN) {
        std::signal(SIGCHLD, SIG_DFL);
    }
}

bool ChildEnd::succeeded() const noexcept {
    return known_ && WIFEXITED(status_) && WEXITSTATUS(status_) == 0;
}

int ChildEnd::shell_status() const noexcept {
    if (!known_) {
        return kUnknownEnd;
    }
    return WIFEXITED(status_) ? WEXITSTATUS(status_) : kKilledBySignal + WTERMSIG(status_);
}

std::string ChildEnd::text() const {
    if (!known_) {
        return "ended, and nobody knows how";
    }
    if (WIFSIGNALED(status_)) {
        return fmt::format("was ended by signal {} ({})", WTERMSIG(status_),
                           strsignal(WTERMSIG(status_)));
    }
    return fmt::format("ended with status {}", WEXITSTATUS(status_));
}

Result<ChildProcess> ChildProcess::spawn(const SpawnOptions& options) {
    std::vector<char*> arguments;
    for (const std::string& argument : options.arguments) {
        arguments.push_back(const_cast<char*>(argument.c_str()));
    }
    arguments.push_back(nullptr);
    const Attributes attributes(options);
    pid_t child = 0;
    keep_child_ends();
    const int error = system_calls.posix_spawnp(&child, arguments.front(), attributes.actions(),
                                                attributes.attributes(), arguments.data(), environ);
    if (error != 0) {
        errno = error;
        return system_failure("running " + options.arguments.front());
    }
    return ChildProcess(child);
}

void ChildProcess::signal(int number) const noexcept {
    if (pid_ >= 0) {
        kill(pid_, number);
    }
}

std::optional<ChildEnd> ChildProcess::poll() {
    int status = 0;
    const pid_t ended =
        past_interrupts([&] { return system_calls.waitpid(pid_, &status, WNOHANG); });
    if (ended == 0) {
        return std::nullopt;
    }
    pid_ = -1;
    return ended > 0 ? ChildEnd(status) : ChildEnd::unknown();
}

ChildEnd ChildProcess::wait() {
    const pid_t child = std::exchange(pid_, -1);
    int status = 0;
    const pid_t ended = past_interrupts([&] { return system_calls.waitpid(child, &status, 0); });
    return ended > 0 ? ChildEnd(status) : ChildEnd::unknown();
}

std::optional<ChildEnd> ChildProcess::wait_for(std::chrono::milliseconds patience) {
    using Clock = std::chrono::steady_clock;
    // Most programs end at once, and are not kept waiting.
    constexpr std::chrono::microseconds kFirstPause{200};
    constexpr std::chrono::microseconds kLongestPause{10'000};
    const auto deadline = Clock::now() + patience;
    for (auto pause = kFirstPause;; pause = std::min(pause * 2, kLongestPause)) {
        std::optional<ChildEnd> end = poll();
        if (end || Clock::now() >= deadline) {
            return end;
        }
        std::this_thread::sleep_for(pause);
    }
}

} // namespace talvor
