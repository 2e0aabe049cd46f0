#include "scenario.h"

#include "common/system_calls.h"
#include "common/temporary.h"
#include "host.h"
#include "host/simulator/simulator.h"
#include "podsim/control/socket.h"
#include "podsim/external/external_target.h"
#include "podsim/main/complaint.h"
#include "podsim/main/life.h"
#include "serving.h"
#include "support/podsim_process.h"
#include "tests/podsim/external/bitbang_server.h"
#include "tool/output/record_log.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <memory>
#include <sched.h>
#include <sstream>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>

namespace torture {
namespace {

using talvor::system_calls;
using talvor::podsim::Options;

Ending failed(const talvor::Error& error) {
    talvor::podsim::complain(error);
    return {1, false};
}

// ---- the simulator as a process that serves ---------------------------------------------------

std::string g_folder;
bool g_visited = false;

// A host's exchanges, one of them in the trace, and a question at the control socket.
bool visit(const std::string& folder) {
    const auto answer = talvor::podsim::control::ask(folder + "/ctl", "status");
    if (!answer) {
        talvor::podsim::complain(answer.error());
    }
    talvor::podsim::proxy::Host host(1);
    const bool attached = host.exchange(SHM_CMD_ATTACH) == 0;
    host.queue("write 11 0002; write 10 4080; wait done; read 18");
    return answer && attached && host.exchange(SHM_CMD_EXECUTE) == 2 &&
           access((folder + "/ready").c_str(), F_OK) == 0;
}

// The signal that ends the simulator comes when it has been visited.
int end_after_a_visit(const sigset_t* /*signals*/, int* signal) {
    g_visited = visit(g_folder);
    *signal = SIGTERM;
    return 0;
}

Options serve_options(const std::string& folder) {
    Options options;
    options.action = Options::Action::Serve;
    options.control = folder + "/ctl";
    options.ready_file = folder + "/ready";
    options.station.vcd = folder + "/trace.vcd";
    return options;
}

void begin_serving(const std::string& folder) {
    g_folder = folder;
    system_calls.sigwait = end_after_a_visit;
}

Ending serve(const std::string& folder) {
    const int status = talvor::podsim::serve(serve_options(folder));
    return {status, g_visited};
}

// What a simulator that was killed leaves: the channel's objects and the control socket.
void leave_stale(const std::string& folder) {
    const pid_t child = fork();
    if (child == 0) {
        const talvor::FileDescriptor nowhere = talvor::open_file("/dev/null", O_WRONLY);
        dup2(nowhere.get(), STDOUT_FILENO);
        begin_serving(folder);
        system_calls.sigwait = [](const sigset_t*, int*) -> int { _exit(0); };
        _exit(talvor::podsim::serve(serve_options(folder)));
    }
    waitpid(child, nullptr, 0);
}

// ---- the simulator with a command of its own --------------------------------------------------

// As for a user who may not make a mount namespace alone.
void become_ordinary(const std::string& /*folder*/) {
    system_calls.unshare = [](int flags) {
        if (flags == CLONE_NEWNS) {
            errno = EPERM;
            return -1;
        }
        return unshare(flags);
    };
}

Ending serve_command(const std::string& folder) {
    Options options;
    options.action = Options::Action::Serve;
    options.is_private = true;
    options.log_file = folder + "/log";
    options.command = {"true"};
    const int status = talvor::podsim::serve(options);
    return {status, status == 0};
}

// ---- a target in another program --------------------------------------------------------------

std::unique_ptr<talvor::podsim::external::BitbangServer> g_server;

void begin_target(const std::string& /*folder*/) {
    g_server = std::make_unique<talvor::podsim::external::BitbangServer>();
}

void begin_local_target(const std::string& folder) {
    g_server = std::make_unique<talvor::podsim::external::BitbangServer>(folder + "/target");
}

talvor::Status connect_and_shift() {
    const auto client = TRY(talvor::podsim::external::ExternalTarget::connect(
        {.address = g_server->address(), .send_resets = true}));
    const std::array<uint64_t, 16> out{};
    std::array<uint64_t, 16> in{};
    return client->shift(out, in, 1000, false);
}

Ending shift_through_target(const std::string& /*folder*/) {
    const talvor::Status shifted = connect_and_shift();
    g_server.reset();
    return shifted ? Ending{0, true} : failed(shifted.error());
}

// ---- the host library -------------------------------------------------------------------------

Ending simulate(const std::string& folder) {
    talvor::SimulatorOptions options;
    options.program = test_support::built_program("talvor-podsim");
    options.vcd = talvor::WaveformFile{.path = folder + "/trace.vcd"};
    auto simulator = talvor::Simulator::start(options);
    if (!simulator) {
        return failed(simulator.error());
    }
    (void)simulator->last_words();
    const talvor::Status stopped = simulator->stop();
    if (!stopped) {
        return failed(stopped.error());
    }
    return {0, true};
}

Ending make_temporaries(const std::string& folder) {
    setenv("TMPDIR", folder.c_str(), 1);
    auto file = talvor::TemporaryFile::create();
    if (!file) {
        return failed(file.error());
    }
    auto detached = talvor::TemporaryFile::create();
    if (!detached) {
        return failed(detached.error());
    }
    const talvor::FileDescriptor open = detached->detach();
    const auto inner = talvor::TemporaryFolder::create();
    if (!inner) {
        return failed(inner.error());
    }
    if (!talvor::write_all(file->descriptor(), "x")) {
        return failed(talvor::system_failure("writing " + file->path()).value());
    }
    return {0, open.is_open()};
}

// ---- a log of results, with a line that a crash has cut short ---------------------------------

constexpr int kLost = 3; // no status of a program that fails

const std::vector<std::string>& log_heads() {
    static const std::vector<std::string> heads{"pod", "result"};
    return heads;
}

void leave_torn_log(const std::string& folder) {
    std::ofstream(folder + "/log.csv") << "pod,result\n1,passed\n2,pas";
}

talvor::Status append(const std::string& path) {
    auto log = TRY(talvor::RecordLog::open(path, log_heads()));
    return log.append({"3", "passed"});
}

std::string text_of(const std::string& path) {
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
}

Ending append_to_log(const std::string& folder) {
    const std::string path = folder + "/log.csv";
    const talvor::Status appended = append(path);
    const std::string whole = text_of(path);
    const std::string torn = text_of(path + ".torn");
    unlink(path.c_str());
    unlink((path + ".torn").c_str());
    if (!appended) {
        Ending ending = failed(appended.error());
        // No line of before is lost, and none is there that was refused.
        const bool kept =
            whole == "pod,result\n1,passed\n" || whole == "pod,result\n1,passed\n2,pas";
        ending.status = kept ? ending.status : kLost;
        return ending;
    }
    return {0, whole == "pod,result\n1,passed\n3,passed\n" && torn == "2,pas\n"};
}

} // namespace

std::vector<Scenario> scenarios() {
    return {
        {"serve", nullptr, begin_serving, serve},
        {"serve after a crash", leave_stale, begin_serving, serve},
        {"serve a command", nullptr, nullptr, serve_command},
        {"serve a command as an ordinary user", nullptr, become_ordinary, serve_command},
        {"shift through a target", nullptr, begin_target, shift_through_target},
        {"shift through a local target", nullptr, begin_local_target, shift_through_target},
        {"simulate", nullptr, nullptr, simulate},
        {"make temporaries", nullptr, nullptr, make_temporaries},
        {"serve clients", nullptr, begin_serving_clients, serve_clients},
        {"append to a log", leave_torn_log, nullptr, append_to_log},
    };
}

} // namespace torture
