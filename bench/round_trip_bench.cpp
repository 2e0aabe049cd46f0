// One flush through driver and simulator beside the least that two processes can do: a handshake
// by two semaphores in shared memory, each side looking for a while before it lets others run.
#include "simulated_host.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <sched.h>
#include <semaphore.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

using namespace talvor::bench;
using Clock = std::chrono::steady_clock;

// The quickest wait that still lets others run.
void wait_for(sem_t* semaphore) {
    constexpr int kLooksBetweenYields = 1000;
    for (int looks = 1; sem_trywait(semaphore) != 0; ++looks) {
        __builtin_ia32_pause();
        if (looks % kLooksBetweenYields == 0) {
            sched_yield();
        }
    }
}

struct Bell {
    sem_t start;
    sem_t complete;
};

// A process that answers and does nothing else. It ends with the thread that made it.
class AnsweringProcess {
public:
    AnsweringProcess() {
        void* const memory =
            mmap(nullptr, sizeof(Bell), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
        if (memory == MAP_FAILED) {
            give_up("no memory for the handshake");
        }
        bell_ = static_cast<Bell*>(memory);
        sem_init(&bell_->start, 1, 0);
        sem_init(&bell_->complete, 1, 0);
        const pid_t parent = getpid();
        child_ = fork();
        if (child_ == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            while (getppid() == parent) {
                wait_for(&bell_->start);
                sem_post(&bell_->complete);
            }
            _exit(0);
        }
        if (child_ < 0) {
            give_up("no process for the handshake");
        }
    }
    AnsweringProcess(const AnsweringProcess&) = delete;
    AnsweringProcess& operator=(const AnsweringProcess&) = delete;
    ~AnsweringProcess() {
        kill(child_, SIGKILL);
        waitpid(child_, nullptr, 0);
        munmap(bell_, sizeof(Bell));
    }

    void round_trip() {
        sem_post(&bell_->start);
        wait_for(&bell_->complete);
    }
    // Without a processor of its own it would disturb what else is measured.
    void rest() { kill(child_, SIGSTOP); }
    void go_on() { kill(child_, SIGCONT); }

private:
    Bell* bell_ = nullptr;
    pid_t child_ = -1;
};

template <typename Trip>
double microseconds_of(int trips, Trip trip) {
    const auto begin = Clock::now();
    for (int done = 0; done < trips; ++done) {
        trip();
    }
    return std::chrono::duration<double, std::micro>(Clock::now() - begin).count() / trips;
}

// The median, so that a turn in which the scheduler took a processor away counts as one turn.
double median(std::vector<double>& turns) {
    const auto middle = turns.begin() + static_cast<ptrdiff_t>(turns.size() / 2);
    std::nth_element(turns.begin(), middle, turns.end());
    return *middle;
}

void RoundTrip(benchmark::State& state) {
    constexpr int kTripsPerTurn = 2000;
    constexpr int kTripsToWarmUp = 200;
    AnsweringProcess bare;
    bare.rest();
    Host host(kShortChain, false);
    uint16_t word = 0;
    const auto flush = [&] {
        check(host->RegisterRead(host.handle(), false, false, 17, 1, &word), "RegisterRead");
    };
    const auto handshake = [&] { bare.round_trip(); };
    std::vector<double> flushes;
    std::vector<double> handshakes;
    for (auto _ : state) {
        microseconds_of(kTripsToWarmUp, flush);
        flushes.push_back(microseconds_of(kTripsPerTurn, flush));
        bare.go_on();
        microseconds_of(kTripsToWarmUp, handshake);
        handshakes.push_back(microseconds_of(kTripsPerTurn, handshake));
        bare.rest();
    }
    state.counters["flush_us"] = median(flushes);
    state.counters["bare_us"] = median(handshakes);
    state.counters["to_bare"] = median(flushes) / median(handshakes);
}
BENCHMARK(RoundTrip)->Iterations(50)->Unit(benchmark::kMillisecond);

} // namespace
