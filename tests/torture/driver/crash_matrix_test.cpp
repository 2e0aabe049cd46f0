// Hosts and proxies that are killed at every step of a session. The fresh ones after each find the
// chain as it is, and nothing is left behind.
#include "common/child_process.h"
#include "common/temporary.h"
#include "support/bare_handle.h"
#include "support/recording_proxy.h"
#include "torture_bench.h"
#include "transport/port.h"

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
    static const std::set<std::string> unseen = {"malloc",        "realloc",       "free",
                                                 "fstat",         "sem_timedwait", "sched_yield",
                                                 "clock_gettime", "usleep"};
    return !unseen.contains(entry.name);
}

// About as many of those calls as a session makes.
constexpr unsigned kCallsOfASession = 53;

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

// The longest waits of a session are those for what a killed host may have left behind. By this
// clock they end after so many looks, and the proxy has had its turn at each of them.
class HurriedClock {
public:
    HurriedClock() {
        os_calls.clock_gettime = [](clockid_t clock, timespec* now) {
            static std::atomic<int64_t> looks;
            const int64_t ms = clock == CLOCK_MONOTONIC ? looks++ : 0;
            *now = {.tv_sec = ms / 1000, .tv_nsec = ms % 1000 * 1'000'000};
            return 0;
        };
    }

private:
    test_support::RestoredOs restored_;
};

TEST(CrashMatrixTest, AHostIsKilledAtEveryStep) {
    LeakGuard leaks;
    RecordedSleeps sleeps;
    HurriedClock clock;
    PodsimProcess proxy(description(), {"--strict"});
    unsigned kills = 0;
    for (const When when : {When::Before, When::Behind}) {
        for (unsigned at = 1; kill_host(at, when); ++at) {
            SCOPED_TRACE(testing::Message()
                         << (when == When::Before ? "before" : "behind") << " its call " << at);
            ++kills;
            EXPECT_TRUE(whole_session());
            ASSERT_FALSE(HasFailure()) << proxy.log();
        }
    }
    std::printf("%u hosts were killed\n", kills);
    EXPECT_GT(kills, 80U);
}

// Nobody cleans up between them, and none waits until the proxy has come to rest.
TEST(CrashMatrixTest, ManyHostsAreKilledOneAfterTheOther) {
    LeakGuard leaks;
    RecordedSleeps sleeps;
    HurriedClock clock;
    PodsimProcess proxy(description(), {"--strict"});
    const unsigned rounds = is_full_run() ? 2000 : 60;
    unsigned kills = 0;
    for (unsigned round = 0; round < rounds; ++round) {
        // Near every call of a session once in as many rounds.
        const unsigned at = 1 + round * 37 % kCallsOfASession;
        kills += kill_host(at, round % 2 == 0 ? When::Before : When::Behind) ? 1 : 0;
    }
    std::printf("%u hosts were killed\n", kills);
    EXPECT_GT(kills, rounds * 9 / 10);
    EXPECT_TRUE(whole_session()) << proxy.log();
}

// ---- hosts, and a proxy that does nothing about those that were killed ------------------------

using test_support::BareHandle;
using test_support::RecordingProxy;

// What a handle that is in step reads are the answers to its own batches.
bool read_in_step(RecordingProxy* proxy) {
    BareHandle handle;
    bool right = handle.open() == 0 && wr_supp_reg(handle.get(), 1) == 0;
    for (uint16_t expected = 11; right && expected < 14; ++expected) {
        uint16_t word = 0;
        if (proxy != nullptr) {
            proxy->pod().answer_always(TBC_PORT_RECEIVE, expected);
        }
        PortRead(handle.get(), TBC_PORT_RECEIVE, &word);
        right = qel_PerformIo(handle.get()) == 0 && (proxy == nullptr || word == expected);
    }
    return right;
}

bool kill_plain_host(unsigned at, When when) {
    const pid_t child = fork();
    if (child == 0) {
        FaultyOs os;
        os.kill_at(at, when == When::Behind, is_seen_by_others);
        _exit(read_in_step(nullptr) ? 0 : 1);
    }
    int status = 0;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFSIGNALED(status) || status == 0) << status;
    return WIFSIGNALED(status);
}

// It answers each command after a while, so that the next host is there before.
TEST(CrashMatrixTest, AHostIsKilledBeforeAProxyThatTakesNothingBack) {
    LeakGuard leaks;
    HurriedClock clock;
    RecordingProxy proxy;
    unsigned kills = 0;
    for (const When when : {When::Before, When::Behind}) {
        for (unsigned at = 1;; ++at) {
            SCOPED_TRACE(testing::Message()
                         << (when == When::Before ? "before" : "behind") << " its call " << at);
            proxy.pod().interfere([](lcl_shm&) { ::usleep(3000); });
            if (!kill_plain_host(at, when)) {
                break;
            }
            ++kills;
            EXPECT_TRUE(read_in_step(&proxy));
            ASSERT_FALSE(HasFailure());
        }
    }
    std::printf("%u hosts were killed\n", kills);
    EXPECT_GT(kills, 40U);
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
