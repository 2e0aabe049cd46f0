// Hosts that are killed in the middle of a session: the next one works as if nobody had been there,
// and nothing is left behind.
#include "description_text.h"
#include "host.h"
#include "support/leak_guard.h"
#include "support/podsim_process.h"

#include <gtest/gtest.h>

#include <array>
#include <csignal>
#include <cstdlib>
#include <sys/wait.h>
#include <unistd.h>

namespace endtoend {
namespace {

using test_support::belongings_now;
using test_support::LeakGuard;
using test_support::PodsimProcess;

constexpr uint16_t kScratch = 8;
const Words kIdcode{0x3C4D, 0x1A2B};

// A host process that connects, runs `work`, says so, and stays until it is killed where it stands.
class DoomedHost {
public:
    template <typename Work>
    explicit DoomedHost(Work work) {
        std::array<int, 2> ready{};
        EXPECT_EQ(pipe(ready.data()), 0);
        pid_ = fork();
        if (pid_ == 0) {
            Host host;
            const bool good = host.connect() == 0 && host.first() && work(host);
            (void)!write(ready[1], good ? "y" : "n", 1);
            for (;;) {
                pause();
            }
        }
        close(ready[1]);
        char answer = 0;
        EXPECT_EQ(read(ready[0], &answer, 1), 1);
        close(ready[0]);
        EXPECT_EQ(answer, 'y');
    }
    DoomedHost(const DoomedHost&) = delete;
    DoomedHost& operator=(const DoomedHost&) = delete;
    ~DoomedHost() {
        kill(pid_, SIGKILL);
        EXPECT_EQ(waitpid(pid_, nullptr, 0), pid_);
    }

private:
    pid_t pid_ = -1;
};

template <typename Work>
void kill_a_host(Work work) {
    const DoomedHost host(work);
}

// The whole way of a fresh host: full connect, IDCODE, a word through a register.
void expect_a_good_session() {
    Host host;
    ASSERT_EQ(host.created(), 0);
    ASSERT_EQ(host.connect(), 0);
    EXPECT_TRUE(host.first()) << "the hardware is set up anew";
    ASSERT_EQ(host.move(eJSC_JTAG_STATE_RESET), 0);
    EXPECT_EQ(host.capture(eJSC_JTAG_SHIFT_DR, 32), kIdcode);
    host.exchange(eJSC_JTAG_SHIFT_IR, 4, {kScratch});
    host.exchange(eJSC_JTAG_SHIFT_DR, 32, {0x600D, 0xDA7A});
    EXPECT_EQ(host.exchange(eJSC_JTAG_SHIFT_DR, 32, {0, 0}), Words({0x600D, 0xDA7A}));
    EXPECT_EQ(host.disconnect(), 0);
    EXPECT_TRUE(host.last());
    EXPECT_EQ(host.remove(), 0);
}

TEST(CrashTest, AHostIsKilledInTheMiddleOfASession) {
    LeakGuard leaks;
    PodsimProcess simulator(plain_pod_text({}), {"--strict"});
    const auto before = belongings_now();
    kill_a_host([](Host& host) {
        // Settings that the next one must not inherit, and a scan that nobody flushes.
        return host->PutLinkDelay(host.handle(), 3) == 0 &&
               host.send(scan_command(eJSC_JTAG_SHIFT_DR, eJSC_JTAG_STATE_PAUSE_DR), 1000,
                         Words(63)) == 0;
    });
    EXPECT_NE(belongings_now(), before) << "its controller block";
    expect_a_good_session();
    EXPECT_EQ(belongings_now(), before);
}

TEST(CrashTest, HostAndProxyAreKilled) {
    LeakGuard leaks;
    {
        PodsimProcess simulator(plain_pod_text({}), {"--strict"});
        kill_a_host([](Host& host) { return host.capture(eJSC_JTAG_SHIFT_DR, 32) == kIdcode; });
        EXPECT_EQ(simulator.stop(SIGKILL), 128 + SIGKILL);
    }
    PodsimProcess simulator(plain_pod_text({}), {"--strict"});
    expect_a_good_session();
}

TEST(CrashTest, HostsAreKilledOneAfterTheOther) {
    LeakGuard leaks;
    PodsimProcess simulator(plain_pod_text({}), {"--strict"});
    for (int round = 0; round < 10; ++round) {
        kill_a_host([](Host& host) { return host.capture(eJSC_JTAG_SHIFT_DR, 32) == kIdcode; });
    }
    expect_a_good_session();
}

// The old host lives, mapped to what the old proxy left; the new pod has never been set up.
TEST(CrashTest, AFreshProxyStandsBehindTheBlockOfALivingHost) {
    LeakGuard leaks;
    PodsimProcess first(plain_pod_text({}), {"--strict"});
    const DoomedHost old(
        [](Host& host) { return host.capture(eJSC_JTAG_SHIFT_DR, 32) == kIdcode; });
    EXPECT_EQ(first.stop(SIGKILL), 128 + SIGKILL);
    PodsimProcess second(plain_pod_text({}), {"--strict"});
    expect_a_good_session();
    expect_a_good_session();
}

// ---- a proxy that does not answer, and a host that has a limit for its wait ----

class PatienceTest : public testing::Test {
protected:
    PatienceTest() { setenv("TALVOR_PROXY_PATIENCE_MS", "1000", 1); }
    ~PatienceTest() override { unsetenv("TALVOR_PROXY_PATIENCE_MS"); }

    // Every operation has its code, and the handle can be disconnected and deleted.
    static void expect_given_up(Host& host) {
        Words in(2);
        EXPECT_EQ(host.receive(scan_command(eJSC_JTAG_SHIFT_DR), 32, in), eJTI_ERROR_BATCH_FAILED);
        EXPECT_EQ(host->Diagnose(host.handle(), eJTI_ERROR_BATCH_FAILED), eJTI_ERROR_BATCH_FAILED);
        EXPECT_EQ(host.receive(scan_command(eJSC_JTAG_SHIFT_DR), 32, in), eJTI_ERROR_BATCH_FAILED);
        EXPECT_NE(host.disconnect(), 0);
    }

    LeakGuard leaks;
};

TEST_F(PatienceTest, AProxyThatDiesUnderASession) {
    Host host;
    EXPECT_EQ(host.created(), eJTI_ERROR_POD_OPEN) << "none runs yet";
    {
        PodsimProcess simulator(plain_pod_text({}), {"--strict"});
        Host lost;
        ASSERT_EQ(lost.connect(), 0);
        EXPECT_EQ(simulator.stop(SIGKILL), 128 + SIGKILL);
        expect_given_up(lost);
    }
    PodsimProcess simulator(plain_pod_text({}), {"--strict"});
    expect_a_good_session();
}

TEST_F(PatienceTest, AProxyThatIsStoppedAndGoesOn) {
    PodsimProcess simulator(plain_pod_text({}), {"--strict"});
    {
        Host host;
        ASSERT_EQ(host.connect(), 0);
        ASSERT_EQ(kill(simulator.pid(), SIGSTOP), 0);
        int status = 0; // its threads go on until the stop has come through
        ASSERT_EQ(waitpid(simulator.pid(), &status, WUNTRACED), simulator.pid());
        ASSERT_TRUE(WIFSTOPPED(status));
        expect_given_up(host);
        Host next;
        EXPECT_EQ(next.created(), eJTI_ERROR_POD_OPEN);
        ASSERT_EQ(kill(simulator.pid(), SIGCONT), 0);
    }
    unsetenv("TALVOR_PROXY_PATIENCE_MS"); // its answers may take as long as the machine likes
    expect_a_good_session();
}

// The pod takes the batch and answers when it was given up.
TEST_F(PatienceTest, APodThatAnswersLate) {
    PodsimProcess simulator(plain_pod_text({}), {"--strict"});
    {
        Host host;
        ASSERT_EQ(host.connect(), 0);
        EXPECT_EQ(simulator.ctl("latency 2500000"), "ok");
        expect_given_up(host);
        EXPECT_EQ(simulator.ctl("latency 0"), "ok");
    }
    unsetenv("TALVOR_PROXY_PATIENCE_MS");
    expect_a_good_session();
}

} // namespace
} // namespace endtoend
