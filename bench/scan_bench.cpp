// Cost of a scan against a pod that answers at once: queueing, flushing and scattering together, in
// nanoseconds per 16-bit word, beside a memcpy of the same bytes; and the flushes an operation
// makes. Processor time throughout, so that a busy machine does not show as a slow driver.
#include "scan/scan_operation.h"
#include "scan/state.h"
#include "support/instant_pod.h"
#include "support/jtag_command.h"

#include <benchmark/benchmark.h>

#include <cstring>
#include <ctime>
#include <vector>

namespace {

using test_support::InstantPod;
using Scan = int32_t (*)(JSC_Inform*, const JSC_JtagCommand*, const JSC_JtagParam16*);

constexpr uint32_t kWordBits = 16;
constexpr uint32_t kHalfAMillionBits = 524288; // a few words more than a block holds both ways
constexpr uint32_t kBlockFittingBits = 500000; // one flush

double processor_seconds() {
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

double seconds_of_memcpy(const std::vector<uint16_t>& from, std::vector<uint16_t>& into) {
    constexpr int kRounds = 256;
    const double begin = processor_seconds();
    for (int round = 0; round < kRounds; ++round) {
        std::memcpy(into.data(), from.data(), from.size() * sizeof(uint16_t));
        benchmark::DoNotOptimize(into.data());
        benchmark::ClobberMemory();
    }
    return (processor_seconds() - begin) / kRounds;
}

void make_scans(benchmark::State& state, Scan scan, bool adjust) {
    const auto bits = static_cast<uint32_t>(state.range(0));
    const size_t words = (bits + kWordBits - 1) / kWordBits;
    InstantPod pod;
    pod.recording = false;
    std::vector<uint16_t> sent(words, 0x5AC3);
    std::vector<uint16_t> received(words);
    const JSC_JtagCommand command =
        test_support::scan_command(eJSC_JTAG_SHIFT_DR, eJSC_JTAG_STATE_IDLE,
                                   adjust ? eJSC_JTAG_ADJUST_AUTO : eJSC_JTAG_ADJUST_USER);
    const JSC_JtagParam16 param{1, 0, bits, sent.data(), received.data()};
    const double begin = processor_seconds();
    for (auto _ : state) {
        if (scan(pod.get(), &command, &param) != 0 || qel_PerformIo(pod.get()) != 0) {
            state.SkipWithError("the scan failed");
        }
        benchmark::DoNotOptimize(received.data());
    }
    const double seconds = processor_seconds() - begin;
    const auto rounds = static_cast<double>(state.iterations());
    state.counters["ns_per_word"] = seconds / rounds / static_cast<double>(words) * 1e9;
    state.counters["to_memcpy"] = seconds / rounds / seconds_of_memcpy(sent, received);
    state.counters["flushes"] = static_cast<double>(pod.flushes) / rounds;
}

void scan_both(benchmark::State& state) {
    make_scans(state, jsc_ScanBoth16, false);
}
BENCHMARK(scan_both)->Arg(32)->Arg(1000)->Arg(kBlockFittingBits)->Arg(kHalfAMillionBits);

void scan_both_adjusted(benchmark::State& state) {
    make_scans(state, jsc_ScanBoth16, true);
}
BENCHMARK(scan_both_adjusted)->Arg(kHalfAMillionBits);

// With the flush that follows some time; the send itself makes none.
void scan_send(benchmark::State& state) {
    make_scans(state, jsc_ScanSend16, false);
}
BENCHMARK(scan_send)->Arg(32)->Arg(1000)->Arg(kHalfAMillionBits);

void scan_receive(benchmark::State& state) {
    make_scans(state, jsc_ScanRecv16, false);
}
BENCHMARK(scan_receive)->Arg(32)->Arg(1000)->Arg(kHalfAMillionBits);

void get_state(benchmark::State& state) {
    InstantPod pod;
    pod.recording = false;
    JSC_JtagState tap{};
    for (auto _ : state) {
        benchmark::DoNotOptimize(jsc_GetState(pod.get(), &tap));
    }
    state.counters["flushes"] =
        static_cast<double>(pod.flushes) / static_cast<double>(state.iterations());
}
BENCHMARK(get_state);

} // namespace
