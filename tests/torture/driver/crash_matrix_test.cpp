// Hosts and proxies that are killed at every step of a session. The fresh ones after each find the
// chain as it is, and nothing is left behind.
#include "common/child_process.h"
#include "common/temporary.h"
#include "torture_bench.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <sys/wait.h>
#include <unistd.h>

namespace torture {
namespace {

using test_support::LeakGuard;
using test_support::PodsimProcess;
using test_support::RecordedSleeps;

bool is_full_run() {
    const char* const asked = std::getenv("TALVOR_TORTURE");
    return asked != nullptr && std::strcmp(asked, "full") == 0;
}

// From the first handle to the last byte given back. Whether all of it went well.
bool whole_session(uint32_t words = kShortScanWords) {
    Session session;
    bool flag = false;
    return session.init() == 0 && jsc_Connect(session.get(), &flag) == 0 &&
           discover_chain(session.get(), words) && jsc_Disconnect(session.get(), &flag) == 0 &&
           jsc_QuitHandle(session.get()) == 0;
}

// ---- hosts ------------------------------------------------------------------------------------

// Whether a call is one by which others see what a host does.
bool is_seen_by_others(const OsEntry& entry) {
    static const std::set<std::string> unseen = {"malloc",        "realloc",       "free",  "fstat",
                                                 "sem_timedwait", "clock_gettime", "usleep"};
    return !unseen.contains(entry.name);
}

// A host that dies with the proxy-wide mutex leaves it locked, and nobody can tell: hosts with a
// limit for their wait are told that there is no pod, until the proxy is started anew.
bool mutex_is_free() {
    sem_t* const mutex = sem_open(SHM_GLOBAL_MUTEX_NAME, 0);
    int value = 0;
    EXPECT_EQ(sem_getvalue(mutex, &value), 0);
    EXPECT_EQ(sem_close(mutex), 0);
    return value != 0;
}

void expect_no_pod() {
    setenv("TALVOR_PROXY_PATIENCE_MS", "50", 1);
    Session session;
    EXPECT_EQ(session.init(), eJTI_ERROR_POD_OPEN);
    unsetenv("TALVOR_PROXY_PATIENCE_MS");
}

// About as many of those calls as a session makes.
constexpr unsigned kCallsOfASession = 48;

// Where in a call a host is killed.
enum class When { Before, Behind };

// Runs a whole session in a process that is killed at its n-th call that others see; false when it
// came to its end before, which must have been a good one.
bool kill_host(unsigned at, When when) {
    const pid_t child = fork();
    if (child == 0) {
        FaultyOs os;
        os.kill_at(at, when == When::Behind, is_seen_by_others);
        _exit(whole_session(kLongScanWords) && !testing::Test::HasFailure() ? 0 : 1);
    }
    int status = 0;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    if (WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL) {
        return true;
    }
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
    return false;
}

// The simulator, started anew where that is the only way on.
class Proxy {
public:
    void heal() {
        await_rest();
        if (mutex_is_free()) {
            return;
        }
        ++healed_;
        expect_no_pod();
        simulator_.reset();
        simulator_.emplace(description(), kArguments);
    }
    unsigned healed() const { return healed_; }
    std::string log() const { return simulator_->log(); }

private:
    // A batch that the dead host had given goes on without it: a host that attaches meanwhile would
    // take the answer to that for its own.
    void await_rest() const {
        sem_t* const start = sem_open("talvor_lcl_s_s_000001", 0);
        int untaken = 1;
        while (start != SEM_FAILED &&
               ((sem_getvalue(start, &untaken) == 0 && untaken != 0) ||
                simulator_->ctl("status").find("\"busy\":true") != std::string::npos)) {
            usleep(1000);
        }
        if (start != SEM_FAILED) {
            sem_close(start);
        }
    }

    const std::vector<std::string> kArguments{"--strict"};
    std::optional<PodsimProcess> simulator_{std::in_place, description(), kArguments};
    unsigned healed_ = 0;
};

TEST(CrashMatrixTest, AHostIsKilledAtEveryStep) {
    LeakGuard leaks;
    RecordedSleeps sleeps;
    Proxy proxy;
    unsigned kills = 0;
    for (const When when : {When::Before, When::Behind}) {
        for (unsigned at = 1; kill_host(at, when); ++at) {
            SCOPED_TRACE(testing::Message()
                         << (when == When::Before ? "before" : "behind") << " its call " << at);
            ++kills;
            proxy.heal();
            EXPECT_TRUE(whole_session());
            ASSERT_FALSE(HasFailure()) << proxy.log();
        }
    }
    std::printf("%u hosts were killed\n", kills);
    EXPECT_GT(kills, 80U);
    EXPECT_LT(proxy.healed(), kills / 4) << "the mutex is held for a moment only";
}

// Nobody cleans up between them.
TEST(CrashMatrixTest, ManyHostsAreKilledOneAfterTheOther) {
    LeakGuard leaks;
    RecordedSleeps sleeps;
    Proxy proxy;
    const unsigned rounds = is_full_run() ? 2000 : 60;
    unsigned kills = 0;
    for (unsigned round = 0; round < rounds; ++round) {
        // Near every call of a session once in as many rounds.
        const unsigned at = 1 + round * 37 % kCallsOfASession;
        kills += kill_host(at, round % 2 == 0 ? When::Before : When::Behind) ? 1 : 0;
        proxy.heal();
    }
    std::printf("%u hosts were killed\n", kills);
    EXPECT_GT(kills, rounds * 9 / 10);
    EXPECT_TRUE(whole_session()) << proxy.log();
}

// ---- proxies ----------------------------------------------------------------------------------

// A simulator that is killed at its n-th step.
class DoomedSimulator {
public:
    explicit DoomedSimulator(unsigned at) {
        std::ofstream(folder_.path() + "/pods.toml") << description();
        std::array<int, 2> ends{};
        EXPECT_EQ(pipe2(ends.data(), O_CLOEXEC), 0);
        setenv("LD_PRELOAD", TALVOR_KILL_AT_CALL, 1);
        setenv("TALVOR_TEST_KILL_AT", std::to_string(at).c_str(), 1);
        const talvor::FileDescriptor nowhere(open("/dev/null", O_WRONLY | O_CLOEXEC));
        auto started = talvor::ChildProcess::spawn(
            {.arguments = {test_support::built_program("talvor-podsim"), "--strict", "--ready-fd",
                           std::to_string(ends[1]), folder_.path() + "/pods.toml"},
             .errors = nowhere.get(),
             .kept = {ends[1]}});
        unsetenv("LD_PRELOAD");
        unsetenv("TALVOR_TEST_KILL_AT");
        close(ends[1]);
        char byte = 0;
        while (read(ends[0], &byte, 1) == 1) { // until it is ready, or dead
        }
        close(ends[0]);
        EXPECT_TRUE(started);
        process_ = *std::move(started);
    }
    DoomedSimulator(const DoomedSimulator&) = delete;
    DoomedSimulator& operator=(const DoomedSimulator&) = delete;
    ~DoomedSimulator() { EXPECT_FALSE(process_ && process_->running()); }

    // Asks it to end, where it still can. Whether it was killed before it had.
    bool end() {
        process_->signal(SIGTERM);
        return process_->wait().shell_status() == 128 + SIGKILL;
    }

private:
    talvor::TemporaryFolder folder_ = *talvor::TemporaryFolder::create();
    std::optional<talvor::ChildProcess> process_;
};

// The session that it is killed in; it ends in one way or the other.
bool kill_proxy(unsigned at) {
    DoomedSimulator simulator(at);
    setenv("TALVOR_PROXY_PATIENCE_MS", "100", 1);
    (void)whole_session();
    unsetenv("TALVOR_PROXY_PATIENCE_MS");
    return simulator.end();
}

TEST(CrashMatrixTest, AProxyIsKilledAtEveryStep) {
#if TALVOR_SANITIZED
    GTEST_SKIP() << "the sanitizers' own calls would be counted";
#endif
    LeakGuard leaks;
    RecordedSleeps sleeps;
    unsigned kills = 0;
    for (unsigned at = 1; kill_proxy(at); at += is_full_run() || at < 24 ? 1 : 5) {
        SCOPED_TRACE(testing::Message() << "at its step " << at);
        ++kills;
        PodsimProcess simulator(description(), {"--strict"});
        EXPECT_TRUE(whole_session()) << simulator.log();
        EXPECT_EQ(simulator.stop(), 0);
        ASSERT_FALSE(HasFailure());
    }
    std::printf("%u proxies were killed\n", kills);
    EXPECT_GT(kills, 25U);
}

} // namespace
} // namespace torture
