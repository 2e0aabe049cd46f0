// Exchanges with the simulated pod while other programs want the processors: what a host waits for
// on a machine that compiles. The load is made here.
//
// Arguments: the number of endless loops, their nice value, and whether the host's thread has asked
// for a short time slice.
#include "busy_load.h"
#include "common/time_slice.h"
#include "simulated_host.h"

#include <benchmark/benchmark.h>

#include <cstdint>
#include <thread>
#include <vector>

namespace {

using namespace talvor::bench;

// The host gets a thread of its own: a short slice is never given back.
template <class Action>
void in_a_thread(bool short_slice, Action action) {
    std::thread([=] {
        if (short_slice && !talvor::shorten_time_slice()) {
            std::fputs("this kernel takes no time slices\n", stderr);
        }
        action();
    }).join();
}

void BusyFlush(benchmark::State& state) {
    ensure_simulator();
    const BusyLoad load(static_cast<int>(state.range(0)), static_cast<int>(state.range(1)));
    in_a_thread(state.range(2) != 0, [&state] {
        Host host(kShortChain, false);
        uint16_t word = 0;
        for (auto _ : state) {
            check(host->RegisterRead(host.handle(), false, false, 17, 1, &word), "RegisterRead");
        }
    });
    state.SetItemsProcessed(state.iterations());
}

// 1,024 bits out and in, as one word of a long file.
void BusyScan(benchmark::State& state) {
    constexpr uint32_t kBits = 1024;
    ensure_simulator();
    const BusyLoad load(static_cast<int>(state.range(0)), static_cast<int>(state.range(1)));
    in_a_thread(state.range(2) != 0, [&state] {
        Host host(kShortChain, false);
        std::vector<uint16_t> out(kBits / 16, 0x5A3C);
        std::vector<uint16_t> in(kBits / 16);
        for (auto _ : state) {
            check(host.scan(eJSC_JTAG_SHIFT_DR, kBits, out, in), "ScanBoth16");
        }
    });
    state.SetItemsProcessed(state.iterations());
}

void loads(benchmark::internal::Benchmark* bench) {
    bench->ArgNames({"loops", "nice", "slice"})->UseRealTime();
    for (const int slice : {0, 1}) {
        bench->Args({0, 0, slice})->Args({2, 0, slice})->Args({3, 10, slice});
    }
}
BENCHMARK(BusyFlush)->Apply(loads);
BENCHMARK(BusyScan)->Apply(loads);

} // namespace
