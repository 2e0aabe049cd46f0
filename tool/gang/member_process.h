// One attempt of a member: the program at work for it, in a process of its own.
#pragma once

#include "common/child_process.h"
#include "common/file_descriptor.h"
#include "common/result.h"
#include "tool/gang/member.h"
#include "tool/output/progress_bar.h"

#include <chrono>
#include <functional>
#include <optional>
#include <poll.h>
#include <string>
#include <vector>

namespace talvor {

// What a member's standard output, standard error and progress come through.
class MemberPipe {
public:
    // Both ends of a new one; the far end is for the child.
    struct Ends;
    [[nodiscard]] static Result<Ends> create();

    explicit MemberPipe(FileDescriptor near) noexcept : near_(std::move(near)) {}

    // Takes what has come, without waiting. At the end it is closed.
    void take();
    [[nodiscard]] bool open() const noexcept { return near_.is_open(); }
    [[nodiscard]] int descriptor() const noexcept { return near_.get(); }
    // Everything so far that no line() has given.
    [[nodiscard]] const std::string& text() const noexcept { return text_; }
    // The next line, without its newline; at the end also one without it.
    [[nodiscard]] std::optional<std::string> line();

private:
    FileDescriptor near_;
    std::string text_;
};

struct MemberPipe::Ends {
    MemberPipe near;
    FileDescriptor far;
};

class MemberProcess {
public:
    // Is given each line of the standard error.
    using LineHook = std::function<void(const std::string&)>;

    // Starts this program with "--member FD" in front of `arguments`; its standard input is empty.
    [[nodiscard]] static Result<MemberProcess> start(const std::vector<std::string>& arguments);

    // What is to be waited for.
    void add_waits(std::vector<pollfd>& waits) const;
    // Takes what has come.
    void take(const LineHook& on_line);
    // Whether everything has come: it has ended, or is about to.
    [[nodiscard]] bool finished() const noexcept;
    // Waits for the end.
    [[nodiscard]] AttemptEnd wait();
    // Asks it to leave its pod and end, once.
    void stop();
    [[nodiscard]] bool stopped() const noexcept { return stopped_; }

    // How far it says it is.
    [[nodiscard]] const std::optional<ProgressReport>& progress() const noexcept {
        return progress_;
    }
    // Since when it does what it is doing.
    [[nodiscard]] std::chrono::nanoseconds elapsed() const {
        return std::chrono::steady_clock::now() - phase_start_;
    }

private:
    MemberProcess(ChildProcess child, MemberPipe output, MemberPipe errors, MemberPipe reports)
        : child_(std::move(child)), output_(std::move(output)), errors_(std::move(errors)),
          reports_(std::move(reports)) {}

    ChildProcess child_;
    MemberPipe output_;
    MemberPipe errors_;
    MemberPipe reports_;
    std::optional<ProgressReport> progress_;
    std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
    std::chrono::steady_clock::time_point phase_start_ = start_;
    bool stopped_ = false;
};

// In the program that was started so: it ends, by its safe way, when the one that started it does,
// which reads from `descriptor`.
void end_with_the_gang(int descriptor);

} // namespace talvor
