#include "tool/gang/member_process.h"

#include "common/system_calls.h"

#include <fmt/format.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <sys/prctl.h>
#include <system_error>
#include <unistd.h>

namespace talvor {
namespace {

// By its own name, which others are told who meet a pod in use.
std::string this_program() {
    constexpr const char* kLink = "/proc/self/exe";
    std::error_code error;
    const std::string path = std::filesystem::read_symlink(kLink, error).string();
    // One that was replaced meanwhile has no name any more.
    return error || !std::filesystem::exists(path, error) ? kLink : path;
}

} // namespace

Result<MemberPipe::Ends> MemberPipe::create() {
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) {
        return system_failure("making a pipe");
    }
    FileDescriptor near(ends[0]);
    FileDescriptor far(ends[1]);
    if (fcntl(near.get(), F_SETFL, O_NONBLOCK) != 0) {
        return system_failure("making a pipe");
    }
    return Ends{MemberPipe(std::move(near)), std::move(far)};
}

void MemberPipe::take() {
    std::array<char, 65536> piece; // NOLINT(cppcoreguidelines-pro-type-member-init): is written
    while (open()) {
        const ssize_t got =
            past_interrupts([&] { return read(near_.get(), piece.data(), piece.size()); });
        if (got > 0) {
            text_.append(piece.data(), static_cast<size_t>(got));
        } else if (got < 0 && errno == EAGAIN) {
            return;
        } else {
            near_.reset();
        }
    }
}

std::optional<std::string> MemberPipe::line() {
    const size_t at = text_.find('\n');
    if (at == std::string::npos && (open() || text_.empty())) {
        return std::nullopt;
    }
    std::string line = text_.substr(0, at);
    text_.erase(0, at == std::string::npos ? at : at + 1);
    return line;
}

Result<MemberProcess> MemberProcess::start(const std::vector<std::string>& arguments) {
    MemberPipe::Ends output = TRY(MemberPipe::create());
    MemberPipe::Ends errors = TRY(MemberPipe::create());
    MemberPipe::Ends reports = TRY(MemberPipe::create());
    const FileDescriptor nothing = open_file("/dev/null", O_RDONLY);
    if (!nothing.is_open()) {
        return system_failure("/dev/null");
    }
    SpawnOptions options;
    options.arguments = {this_program(), "--member", fmt::format("{}", reports.far.get())};
    options.arguments.insert(options.arguments.end(), arguments.begin(), arguments.end());
    options.input = nothing.get();
    options.output = output.far.get();
    options.errors = errors.far.get();
    options.kept = {reports.far.get()};
    ChildProcess child = TRY(ChildProcess::spawn(options));
    return MemberProcess(std::move(child), std::move(output.near), std::move(errors.near),
                         std::move(reports.near));
}

void MemberProcess::add_waits(std::vector<pollfd>& waits) const {
    for (const MemberPipe* pipe : {&output_, &errors_, &reports_}) {
        if (pipe->open()) {
            waits.push_back({.fd = pipe->descriptor(), .events = POLLIN, .revents = 0});
        }
    }
}

void MemberProcess::take(const LineHook& on_line) {
    output_.take();
    errors_.take();
    reports_.take();
    while (const auto line = errors_.line()) {
        on_line(*line);
    }
    while (const auto line = reports_.line()) {
        std::optional<ProgressReport> report = ProgressReport::parse(*line);
        if (report && (!progress_ || progress_->what != report->what)) {
            phase_start_ = std::chrono::steady_clock::now();
        }
        progress_ = report ? std::move(report) : std::move(progress_);
    }
}

bool MemberProcess::finished() const noexcept {
    return !output_.open() && !errors_.open() && !reports_.open();
}

AttemptEnd MemberProcess::wait() {
    const ChildEnd end = child_.wait();
    return {.exit_status = end.shell_status(),
            .end = end.text(),
            .printed = output_.text(),
            .seconds =
                std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count(),
            .stopped = stopped_};
}

void MemberProcess::stop() {
    if (!stopped_) {
        stopped_ = true;
        // A Ctrl-C at the terminal has reached it already, and a second signal of one kind kills.
        child_.signal(SIGTERM);
    }
}

void end_with_the_gang(int descriptor) {
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    // It may have ended before.
    pollfd pipe{.fd = descriptor, .events = POLLOUT, .revents = 0};
    if (poll(&pipe, 1, 0) > 0 && (pipe.revents & (POLLERR | POLLNVAL)) != 0) {
        raise(SIGTERM);
    }
}

} // namespace talvor
