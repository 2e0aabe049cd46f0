// The driver and the simulated pod together, each in its own process: how many flushed scans a
// second, how many bits a second.
#include "simulated_host.h"

#include <benchmark/benchmark.h>

#include <cstdint>
#include <vector>

namespace {

using namespace talvor::bench;

// One flush with one register read and the three status reads of every flush.
void Flush(benchmark::State& state) {
    Host host(kShortChain, false);
    uint16_t word = 0;
    for (auto _ : state) {
        check(host->RegisterRead(host.handle(), false, false, 17, 1, &word), "RegisterRead");
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(Flush)->UseRealTime();

// A flushed scan of 32 bits out and in.
void Scan32(benchmark::State& state) {
    Host host(kShortChain, state.range(0) != 0);
    std::vector<uint16_t> out{0x1234, 0x5678};
    std::vector<uint16_t> in(2);
    for (auto _ : state) {
        check(host.scan(eJSC_JTAG_SHIFT_DR, 32, out, in), "ScanBoth16");
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(Scan32)->ArgName("pod_waits")->Arg(0)->Arg(1)->UseRealTime();

// A scan of 512 Kbit out and in, through a register of that length; its data is checked.
void Scan512K(benchmark::State& state) {
    Host host(kLongChain, state.range(0) != 0);
    constexpr uint32_t kBits = 524288;
    std::vector<uint16_t> instruction{8};
    std::vector<uint16_t> captured(1);
    check(host.scan(eJSC_JTAG_SHIFT_IR, 4, instruction, captured), "ScanBoth16");
    std::vector<uint16_t> out(kBits / 16);
    std::vector<uint16_t> in(kBits / 16);
    uint32_t seed = 1;
    for (uint16_t& word : out) {
        seed = seed * 1664525 + 1013904223;
        word = static_cast<uint16_t>(seed >> 16);
    }
    check(host.scan(eJSC_JTAG_SHIFT_DR, kBits, out, in), "ScanBoth16");
    for (auto _ : state) {
        check(host.scan(eJSC_JTAG_SHIFT_DR, kBits, out, in), "ScanBoth16");
    }
    if (in != out) {
        state.SkipWithError("the register did not give back what was scanned into it");
    }
    state.counters["bits"] =
        benchmark::Counter(static_cast<double>(kBits) * static_cast<double>(state.iterations()),
                           benchmark::Counter::kIsRate);
}
BENCHMARK(Scan512K)
    ->ArgName("pod_waits")
    ->Arg(0)
    ->Arg(1)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

} // namespace
