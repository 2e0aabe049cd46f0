// A program that this one starts and looks after.
#pragma once

#include "common/result.h"

#include <chrono>
#include <optional>
#include <string>
#include <string_view>
#include <sys/types.h>
#include <utility>
#include <vector>

namespace talvor {

struct SpawnOptions {
    // The program first; one without a slash is looked for in PATH.
    std::vector<std::string> arguments{};
    std::optional<int> input{};  // descriptor for its standard input; else this program's
    std::optional<int> output{}; // descriptor for its standard output; else this program's
    std::optional<int> errors{}; // descriptor for its standard error; else this program's
    std::vector<int> kept{};     // descriptors that stay open in it though they close on exec
    bool own_group = false;      // a process group of its own: Ctrl-C does not reach it
};

// A program that was started with SIGCHLD ignored never hears how its children ended; from here on
// this one does.
void keep_child_ends() noexcept;

// How a process ended, from waitpid's status.
class ChildEnd {
public:
    explicit ChildEnd(int status) noexcept : status_(status) {}
    // Of a child that somebody else has waited for: no success, 127 as a shell's status.
    [[nodiscard]] static ChildEnd unknown() noexcept {
        ChildEnd end(0);
        end.known_ = false;
        return end;
    }

    [[nodiscard]] bool known() const noexcept { return known_; }
    [[nodiscard]] bool succeeded() const noexcept;
    // As a shell reports it: the exit status, or 128 and the signal's number.
    [[nodiscard]] int shell_status() const noexcept;
    // "ended with status 2", "was ended by signal 9 (Killed)".
    [[nodiscard]] std::string text() const;

private:
    int status_;
    bool known_ = true;
};

// One child, waited for exactly once. The object does not end the child: its owner says how.
class ChildProcess {
public:
    // Starts it with all signals unblocked and SIGPIPE, SIGIO as a shell would have them. On
    // failure errno holds the reason; the error names the program. From now on this program no
    // longer ignores SIGCHLD, should it have been started so: it would not hear of the child's end.
    [[nodiscard]] static Result<ChildProcess> spawn(const SpawnOptions& options);

    ChildProcess(ChildProcess&& other) noexcept : pid_(std::exchange(other.pid_, -1)) {}
    ChildProcess& operator=(ChildProcess&& other) noexcept {
        pid_ = std::exchange(other.pid_, -1);
        return *this;
    }

    // Whether it has not been waited for.
    [[nodiscard]] bool running() const noexcept { return pid_ >= 0; }
    [[nodiscard]] pid_t pid() const noexcept { return pid_; }
    void signal(int number) const noexcept;
    // How it ended, once it has; nothing while it runs. Not after it has been waited for.
    [[nodiscard]] std::optional<ChildEnd> poll();
    // Waits for its end.
    ChildEnd wait();
    // The same, but not for longer than `patience`: nothing when it still runs then.
    [[nodiscard]] std::optional<ChildEnd> wait_for(std::chrono::milliseconds patience);

private:
    explicit ChildProcess(pid_t pid) noexcept : pid_(pid) {}

    pid_t pid_;
};

} // namespace talvor
