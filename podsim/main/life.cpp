#include "podsim/main/life.h"

#include "podsim/base/system_error.h"
#include "podsim/control/socket.h"
#include "podsim/privacy/private_shm.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <fmt/format.h>
#include <memory>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace podsim {
namespace {

constexpr int failed = 1;
// As a shell reports them.
constexpr int command_not_run = 126;
constexpr int command_not_found = 127;
constexpr int killed_by_signal = 128;

int complain(const std::string& reason) {
    fmt::print(stderr, "talvor-podsim: {}\n", reason);
    return failed;
}

// The signals that end the simulator, and that of a child's end. They are blocked in every thread,
// so that only the main thread takes them, when it asks.
sigset_t our_signals() {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int one : {SIGINT, SIGTERM, SIGHUP, SIGCHLD}) {
        sigaddset(&signals, one);
    }
    return signals;
}

// The ready file goes away with the simulator.
class ReadyFile {
public:
    ReadyFile() = default;
    ReadyFile(const ReadyFile&) = delete;
    ReadyFile& operator=(const ReadyFile&) = delete;
    ~ReadyFile() {
        if (!path_.empty()) {
            unlink(path_.c_str());
        }
    }

    // The file appears with its content, the process id.
    Status make(const std::string& path) {
        const std::string draft = fmt::format("{}.{}", path, getpid());
        std::FILE* file = std::fopen(draft.c_str(), "we");
        if (file == nullptr) {
            return system_failure("making the ready file " + path);
        }
        fmt::print(file, "{}\n", getpid());
        if (std::fclose(file) != 0 || std::rename(draft.c_str(), path.c_str()) != 0) {
            Status failure = system_failure("making the ready file " + path);
            unlink(draft.c_str());
            return failure;
        }
        path_ = path;
        return {};
    }

private:
    std::string path_;
};

Status tell_ready_fd(int fd, std::string_view line) {
    if (write(fd, line.data(), line.size()) != static_cast<ssize_t>(line.size())) {
        return system_failure(fmt::format("writing to the ready descriptor {}", fd));
    }
    close(fd);
    return {};
}

// Says that the pods are served: in a line, and in the ways that were asked for. A private command
// has the standard output to itself.
Status tell_ready(const Options& options, const Station& station, ReadyFile& file) {
    const std::string line = fmt::format("ready, {}\n", station.summary());
    std::FILE* stream = options.is_private ? stderr : stdout;
    fmt::print(stream, "{}", line);
    std::fflush(stream);
    if (!options.ready_file.empty()) {
        if (Status made = file.make(options.ready_file); made.failed()) {
            return made;
        }
    }
    return options.ready_fd < 0 ? Status() : tell_ready_fd(options.ready_fd, line);
}

// Starts the private command with the signals as a shell would give them. A pid, or minus the exit
// status that stands for the failure.
pid_t start_command(const Options& options) {
    std::vector<char*> arguments;
    for (const std::string& argument : options.command) {
        arguments.push_back(const_cast<char*>(argument.c_str()));
    }
    arguments.push_back(nullptr);
    if (!options.control.empty()) {
        setenv(control_variable, options.control.c_str(), 1);
    }
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    sigset_t none;
    sigemptyset(&none);
    sigset_t defaults;
    sigemptyset(&defaults);
    sigaddset(&defaults, SIGPIPE);
    sigaddset(&defaults, SIGIO);
    posix_spawnattr_setsigmask(&attributes, &none);
    posix_spawnattr_setsigdefault(&attributes, &defaults);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    pid_t child = 0;
    const int error =
        posix_spawnp(&child, arguments[0], nullptr, &attributes, arguments.data(), environ);
    posix_spawnattr_destroy(&attributes);
    if (error != 0) {
        errno = error;
        complain(system_failure("running " + options.command[0]).reason());
        return error == ENOENT ? -command_not_found : -command_not_run;
    }
    return child;
}

// Waits for the command's end; signals to end go to it. Its exit status, as a shell says it.
int await_command(pid_t child, const sigset_t& signals) {
    for (;;) {
        int status = 0;
        if (waitpid(child, &status, WNOHANG) == child) {
            return WIFEXITED(status) ? WEXITSTATUS(status) : killed_by_signal + WTERMSIG(status);
        }
        int signal = 0;
        sigwait(&signals, &signal);
        if (signal != SIGCHLD) {
            kill(child, signal);
        }
    }
}

void await_end(const sigset_t& signals) {
    int signal = 0;
    do {
        sigwait(&signals, &signal);
    } while (signal == SIGCHLD);
}

int live(const Options& options, const sigset_t& signals) {
    if (!options.is_private) {
        await_end(signals);
        return 0;
    }
    const pid_t child = start_command(options);
    return child < 0 ? -child : await_command(child, signals);
}

Result<description::Description> read_description(const std::string& path) {
    return path.empty() ? description::built_in() : description::read(path);
}

Result<std::vector<control::Step>> read_steps(const std::string& path) {
    return path.empty() ? std::vector<control::Step>{} : control::read_script(path);
}

// The stream of the log, closed only when it is a file of ours.
using Stream = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

Stream open_log(const std::string& path) {
    if (path.empty()) {
        return {stderr, [](std::FILE*) { return 0; }};
    }
    return {std::fopen(path.c_str(), "we"), std::fclose};
}

int serve_station(const Options& options, Station& station, const sigset_t& signals) {
    std::unique_ptr<control::Socket> socket;
    if (!options.control.empty()) {
        auto listening = control::Socket::listen(
            options.control, [&station](std::string_view line) { return station.command(line); });
        if (listening.failed()) {
            return complain(listening.reason());
        }
        socket = std::move(listening.value());
    }
    ReadyFile ready;
    if (const Status told = tell_ready(options, station, ready); told.failed()) {
        return complain(told.reason());
    }
    return live(options, signals);
}

} // namespace

int serve(const Options& options) {
    const sigset_t signals = our_signals();
    std::signal(SIGPIPE, SIG_IGN);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    const auto description = read_description(options.description);
    if (description.failed()) {
        return complain(description.reason());
    }
    const auto script = read_steps(options.script);
    if (script.failed()) {
        return complain(script.reason());
    }
    const Stream stream = open_log(options.log_file);
    if (stream == nullptr) {
        return complain(system_failure("writing the log " + options.log_file).reason());
    }
    if (options.is_private) {
        if (const Status entered = enter_private_shm(); entered.failed()) {
            return complain("no private /dev/shm: " + entered.reason() +
                            "; run as root, or allow user namespaces");
        }
    }
    Log log(stream.get());
    auto station = Station::open(description.value(), script.value(), options.station, log);
    if (station.failed()) {
        return complain(station.reason());
    }
    const int status = serve_station(options, *station.value(), signals);
    if (!station.value()->stop()) {
        // A pod's thread still runs: its objects must not go away under it.
        std::fflush(nullptr);
        _exit(status);
    }
    return status;
}

} // namespace podsim
