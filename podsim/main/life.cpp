#include "podsim/main/life.h"

#include "common/child_process.h"
#include "common/result.h"
#include "common/simulation_shm.h"
#include "common/system_calls.h"
#include "podsim/control/socket.h"
#include "podsim/main/complaint.h"
#include "podsim/main/ready.h"
#include "podsim/station/station.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <sys/prctl.h>
#include <unistd.h>

namespace talvor::podsim {
namespace {

constexpr int kFailed = 1;
// As a shell reports them.
constexpr int kCommandNotRun = 126;
constexpr int kCommandNotFound = 127;

int failed_with(const Error& error) {
    complain(error);
    return kFailed;
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

// From now on the end of the parent is a SIGTERM. False when `parent` is not the parent any more:
// its end came before, and will not come as a signal.
bool follow_parent(pid_t parent) {
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    return getppid() == parent;
}

// Waits for the command's end; signals to end go to it.
ChildEnd await_command(ChildProcess& command, const sigset_t& signals) {
    for (;;) {
        if (const auto end = command.poll()) {
            return *end;
        }
        int signal = 0;
        system_calls.sigwait(&signals, &signal);
        if (signal != SIGCHLD) {
            command.signal(signal);
        }
    }
}

// Runs the private command to its end; its exit status.
int run_command(const Options& options, const sigset_t& signals) {
    if (!options.control.empty()) {
        setenv(kControlVariable, options.control.c_str(), 1);
    }
    auto command = ChildProcess::spawn({.arguments = options.command});
    if (!command) {
        const int status = errno == ENOENT ? kCommandNotFound : kCommandNotRun;
        Error error = command.error();
        // As in `--private pods -- ls`.
        if (options.command.size() > 1 && options.command[1] == "--") {
            error.next_step = "a description goes before --private";
        }
        complain(error);
        return status;
    }
    const ChildEnd end = await_command(*command, signals);
    if (!end.known()) {
        complain(failure(options.command.front() + " " + end.text()).value());
    }
    return end.shell_status();
}

void await_end(const sigset_t& signals) {
    int signal = 0;
    do {
        system_calls.sigwait(&signals, &signal);
    } while (signal == SIGCHLD);
}

int live(const Options& options, const sigset_t& signals) {
    if (options.is_private) {
        return run_command(options, signals);
    }
    await_end(signals);
    return 0;
}

Result<description::Description> read_description(const std::string& path) {
    return path.empty() ? description::built_in() : description::read(path);
}

Result<std::vector<control::Step>> read_steps(const std::string& path) {
    return path.empty() ? std::vector<control::Step>{} : control::read_script(path);
}

// The stream of the log, closed only when it is a file of ours.
using Stream = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

Result<Stream> open_log(const std::string& path) {
    if (path.empty()) {
        return Stream(stderr, [](std::FILE*) { return 0; });
    }
    std::FILE* file = nullptr;
    do {
        file = system_calls.fopen(path.c_str(), "we");
    } while (file == nullptr && errno == EINTR);
    if (file == nullptr) {
        return system_failure("writing the log " + path);
    }
    return Stream(file, std::fclose);
}

Status enter_privacy() {
    if (const std::string note = TRY(enter_simulation_shm()); !note.empty()) {
        std::fprintf(stderr, "talvor-podsim: %s\n", note.c_str());
    }
    return {};
}

// Serves the control socket and says that all is ready, until the end; the exit status.
Result<int> attend(const Options& options, Station& station, const sigset_t& signals) {
    std::unique_ptr<control::Socket> socket;
    if (!options.control.empty()) {
        socket = TRY(control::Socket::listen(
            options.control, [&station](std::string_view line) { return station.command(line); }));
    }
    ReadyFile ready;
    TRY(tell_ready(options, station.summary(), ready));
    return live(options, signals);
}

// The last part of a trace that a pod still writes cannot be put together.
Failure unfinished_trace(const std::string& path) {
    return pod_error("the trace " + path,
                     "is lost: its pod was still at work when the simulator ended",
                     "end the host first, or leave --vcd-last away");
}

Result<int> serve_until(const Options& options, const sigset_t& signals) {
    const description::Description description = TRY(read_description(options.description));
    const std::vector<control::Step> script = TRY(read_steps(options.script));
    const Stream stream = TRY(open_log(options.log_file));
    if (options.is_private) {
        TRY(enter_privacy());
    }
    if (options.parent > 0 && !follow_parent(options.parent)) {
        return 0;
    }
    Log log(stream.get());
    const std::unique_ptr<Station> station =
        TRY(Station::open(description, script, options.station, log));
    const Result<int> attended = attend(options, *station, signals);
    int status = attended ? *attended : failed_with(attended.error());
    if (!station->stop()) {
        // A pod's thread still runs: its objects must not go away under it.
        if (!options.station.vcd.empty() && options.station.vcd_limits.keep_last) {
            status = failed_with(unfinished_trace(options.station.vcd).value());
        }
        std::fflush(nullptr);
        _exit(status);
    }
    if (const Status finished = station->finish_traces(); !finished) {
        const int failed = failed_with(finished.error());
        return status == 0 ? failed : status;
    }
    return status;
}

} // namespace

int serve(const Options& options) {
    const sigset_t signals = our_signals();
    std::signal(SIGPIPE, SIG_IGN);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    const Result<int> status = serve_until(options, signals);
    return status ? *status : failed_with(status.error());
}

} // namespace talvor::podsim
