// A lab in small: a simulator with several pods, a host that stays on one of them, and hosts that
// come, go, meet faults and are killed on the others. Every bit that any of them receives is
// compared with the plain chain. At the end nothing may be left, and the memory of what stayed must
// be flat.
//
// TALVOR_SOAK_SECONDS says how long (10), TALVOR_SOAK_SEED which random choices (those of 1).
#include "random_walk.h"
#include "support/leak_guard.h"
#include "support/podsim_process.h"

#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <deque>
#include <fstream>
#include <map>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

namespace endtoend {
namespace {

using Clock = std::chrono::steady_clock;
using test_support::PodsimProcess;

constexpr uint32_t kPods = 8;       // the first is the staying host's
constexpr size_t kGuestsAtOnce = 3; // hosts on other pods
constexpr int kStepsOfAGuest = 60;
constexpr int kStepsOfTheHost = 20; // between two looks at the guests
constexpr long kGrowthMostKb = 4096;

uint64_t number_of(const char* variable, uint64_t otherwise) {
    const char* const text = std::getenv(variable);
    return text == nullptr ? otherwise : std::strtoull(text, nullptr, 0);
}

// Resident memory in KiB.
long memory_kb(pid_t process) {
    std::ifstream file("/proc/" + std::to_string(process) + "/status");
    for (std::string line; std::getline(file, line);) {
        if (line.starts_with("VmRSS:")) {
            return std::atol(line.c_str() + 6);
        }
    }
    return 0;
}

// ---- guests -----------------------------------------------------------------------------------

// How the visit of a guest ends.
enum class Ending { Leaves, IsKilled, Vanishes, MeetsFailedBatch, MeetsRefusal, MeetsUnplugging };
constexpr uint64_t kEndings = 6;

void order(const PodsimProcess& simulator, const RandomPod& pod, const std::string& command) {
    EXPECT_EQ(simulator.ctl("pod " + std::to_string(pod.pod.serial) + " " + command), "ok")
        << command;
}

// What a host does that meets a fault: it asks what it was, and goes. Codes may be any; a fault
// must not show as a success with wrong data, which is what the next steps would do.
void meet(const PodsimProcess& simulator, RandomPod& pod, Host& host, const std::string& fault) {
    order(simulator, pod, fault);
    Words in(4);
    JSC_ResetAction action{};
    action.resetHard = true;
    const int32_t read = host.receive(scan_command(eJSC_JTAG_SHIFT_DR), 64, in);
    const int32_t reset = host->Reset(host.handle(), &action);
    EXPECT_TRUE(read != 0 || reset != 0) << fault << " was not noticed";
    (void)host->Diagnose(host.handle(), read != 0 ? read : reset);
}

// A signal that kills where the host stands, soon.
void be_killed_within(uint64_t microseconds) {
    std::signal(SIGALRM, [](int) { raise(SIGKILL); });
    const itimerval soon{{0, 0}, {0, static_cast<suseconds_t>(microseconds)}};
    setitimer(ITIMER_REAL, &soon, nullptr);
}

// A whole visit, in a process of its own. 0 when all was as it should be.
int visit(const PodsimProcess& simulator, RandomPod pod, Ending ending) {
    // The target begins anew, as the plain chain does.
    order(simulator, pod, "power off");
    order(simulator, pod, "power on");
    {
        Host host(pod.keys, pod.recipe);
        EXPECT_EQ(host.created(), 0);
        EXPECT_EQ(host.connect(), 0);
        if (ending == Ending::IsKilled) {
            be_killed_within(1000 + pod.random() % 200'000);
        }
        RandomWalk walk(pod, host);
        walk.wash();
        for (int i = 0; i < kStepsOfAGuest && !testing::Test::HasFailure(); ++i) {
            walk.step();
        }
        switch (ending) {
        case Ending::Vanishes:
            _exit(testing::Test::HasFailure() ? 1 : 0);
        case Ending::IsKilled:
            raise(SIGKILL);
            break;
        case Ending::MeetsFailedBatch:
            meet(simulator, pod, host, "fail 1");
            break;
        case Ending::MeetsRefusal:
            meet(simulator, pod, host, "refuse 1");
            break;
        case Ending::MeetsUnplugging:
            meet(simulator, pod, host, "unplug");
            order(simulator, pod, "plug");
            break;
        default:
            EXPECT_EQ(host.disconnect(), 0);
            EXPECT_EQ(host.remove(), 0);
        }
    }
    return testing::Test::HasFailure() ? 1 : 0;
}

struct Guest {
    uint32_t serial;
    Ending ending;
};

// ---- the lab ----------------------------------------------------------------------------------

class Lab {
public:
    Lab(uint64_t seed, std::chrono::seconds length)
        : random_(seed), end_(Clock::now() + length), simulator_(make_pods(seed), {"--strict"}) {}

    void run() {
        Host host(pods_.front().keys, pods_.front().recipe);
        ASSERT_EQ(host.created(), 0);
        ASSERT_EQ(host.connect(), 0) << simulator_.log();
        RandomWalk walk(pods_.front(), host);
        const auto warm = Clock::now() + (end_ - Clock::now()) / 5;
        while (Clock::now() < end_ && !testing::Test::HasFailure()) {
            invite();
            for (int i = 0; i < kStepsOfTheHost && !testing::Test::HasFailure(); ++i) {
                walk.step();
            }
            see_off(WNOHANG);
            if (before_.empty() && Clock::now() >= warm) {
                before_ = memory();
            }
        }
        while (!guests_.empty()) {
            see_off(0);
        }
        tidy_up();
        const auto after = memory();
        EXPECT_EQ(host.disconnect(), 0);
        report(walk, after);
    }

private:
    std::string make_pods(uint64_t seed) {
        std::string text;
        for (uint32_t serial = 1; serial <= kPods; ++serial) {
            pods_.push_back(make_random_pod(serial, seed * 1000 + serial));
            text += pod_text(pods_.back().pod, pods_.back().chain);
            if (serial != 1) {
                free_.push_back(serial);
            }
        }
        return text;
    }

    RandomPod& pod(uint32_t serial) { return pods_[serial - 1]; }

    void invite() {
        while (guests_.size() < kGuestsAtOnce) {
            const uint32_t serial = free_.front();
            free_.pop_front();
            receive(serial, static_cast<Ending>(random_() % kEndings));
        }
    }

    void receive(uint32_t serial, Ending ending) {
        pod(serial).random.seed(random_());
        const pid_t guest = fork();
        if (guest == 0) {
            _exit(visit(simulator_, pod(serial), ending));
        }
        guests_[guest] = {serial, ending};
        ++visits_[static_cast<size_t>(ending)];
    }

    // What the dead have left goes with the next guest who leaves in order.
    void tidy_up() {
        for (const uint32_t serial : std::exchange(free_, {})) {
            receive(serial, Ending::Leaves);
        }
        while (!guests_.empty()) {
            see_off(0);
        }
    }

    // Takes leave of guests that have gone, or of the next that goes.
    void see_off(int options) {
        int status = 0;
        for (auto guest = guests_.begin(); guest != guests_.end();) {
            if (waitpid(guest->first, &status, options) != guest->first) {
                ++guest;
                continue;
            }
            const bool killed = WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL;
            EXPECT_TRUE(guest->second.ending == Ending::IsKilled ? killed : status == 0)
                << "a guest on pod " << guest->second.serial << ", ending "
                << static_cast<int>(guest->second.ending) << ", status " << status;
            free_.push_back(guest->second.serial);
            guest = guests_.erase(guest);
        }
    }

    std::vector<long> memory() { return {memory_kb(simulator_.pid()), memory_kb(getpid())}; }

    void report(const RandomWalk& walk, const std::vector<long>& after) {
        uint64_t visits = 0;
        for (const uint64_t one : visits_) {
            visits += one;
        }
        std::printf("%llu visits (%llu left in order, %llu were killed, %llu vanished, %llu met a "
                    "failed batch, %llu a refusal, %llu an unplugged pod)\n",
                    count(visits), count(visits_[0]), count(visits_[1]), count(visits_[2]),
                    count(visits_[3]), count(visits_[4]), count(visits_[5]));
        std::printf("%llu words received and compared by the host that stayed\n",
                    count(walk.received_words()));
        ASSERT_EQ(before_.size(), after.size()) << "it did not last";
        const char* const names[] = {"simulator", "host that stayed"};
        for (size_t i = 0; i < after.size(); ++i) {
            std::printf("memory of the %s: %ld KiB, at the end %ld KiB\n", names[i], before_[i],
                        after[i]);
            // The sanitizers keep what was freed for a while.
            if (!TALVOR_SANITIZED) {
                EXPECT_LE(after[i], before_[i] + kGrowthMostKb) << names[i];
            }
        }
        EXPECT_GT(visits, 0U);
    }

    static unsigned long long count(uint64_t number) { return number; }

    std::mt19937_64 random_;
    Clock::time_point end_;
    std::vector<RandomPod> pods_;
    std::deque<uint32_t> free_;
    PodsimProcess simulator_;
    std::map<pid_t, Guest> guests_;
    std::array<uint64_t, kEndings> visits_{};
    std::vector<long> before_;
};

TEST(SoakTest, HostsComeGoAndDie) {
    test_support::LeakGuard leaks;
    const uint64_t seed = number_of("TALVOR_SOAK_SEED", 1);
    const uint64_t seconds = number_of("TALVOR_SOAK_SECONDS", 10);
    std::printf("seed %llu, %llu seconds\n", static_cast<unsigned long long>(seed),
                static_cast<unsigned long long>(seconds));
    Lab lab(seed, std::chrono::seconds(seconds));
    lab.run();
}

} // namespace
} // namespace endtoend
