// How many bits a second the simulated pod's model shifts: the chain alone, and through batches for
// the controller's registers, runs of data words in one piece or word by word.
#include "podsim/batch/decoder.h"
#include "podsim/batch/queue.h"
#include "podsim/model/chain.h"
#include "podsim/model/controller.h"
#include "shm_structs.h"

#include <benchmark/benchmark.h>

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <vector>

namespace {

using namespace talvor;
using namespace talvor::podsim;

constexpr uint64_t kScanBits = 524'288;
constexpr unsigned kSelectInstruction = 3;

ChainDescription one_long_register() {
    DeviceDescription device;
    device.name = "long";
    device.registers.push_back({"scratch", {kSelectInstruction}, ScratchRegister{kScanBits, {}}});
    return {{device}, {}};
}

ChainDescription bypass_chain(int devices) {
    ChainDescription chain;
    for (int i = 0; i < devices; ++i) {
        chain.devices.push_back({});
    }
    return chain;
}

std::vector<uint64_t> random_words(size_t count) {
    std::mt19937_64 random(1);
    std::vector<uint64_t> words(count);
    for (uint64_t& word : words) {
        word = random();
    }
    return words;
}

void move(Target& target, TapState& state, TapState to) {
    const TmsPath path = shortest_path(state, to);
    if (path.count != 0 && !target.move(path.tms, path.count, true)) {
        std::abort();
    }
    state = to;
}

void report_bits(benchmark::State& state, uint64_t bits_each) {
    state.counters["bits"] =
        benchmark::Counter(static_cast<double>(bits_each) * static_cast<double>(state.iterations()),
                           benchmark::Counter::kIsRate);
}

// Capture, kScanBits in one piece, update.
void scan_chain(benchmark::State& state, const ChainDescription& description) {
    Chain chain(description);
    TapState tap = TapState::TestLogicReset;
    move(chain, tap, TapState::ShiftIr);
    const uint64_t instruction = kSelectInstruction;
    uint64_t out = 0;
    if (!chain.shift({&instruction, 1}, {&out, 1}, 4, true)) {
        std::abort();
    }
    tap = TapState::Exit1Ir;
    move(chain, tap, TapState::RunTestIdle);
    const std::vector<uint64_t> tdi = random_words(words_for(kScanBits));
    std::vector<uint64_t> tdo(tdi.size());
    for (auto _ : state) {
        move(chain, tap, TapState::ShiftDr);
        if (!chain.shift(tdi, tdo, kScanBits, true)) {
            std::abort();
        }
        tap = TapState::Exit1Dr;
        move(chain, tap, TapState::RunTestIdle);
        benchmark::DoNotOptimize(tdo.data());
    }
    report_bits(state, kScanBits);
}

void ChainLongRegister(benchmark::State& state) {
    scan_chain(state, one_long_register());
}
BENCHMARK(ChainLongRegister);

void ChainBypass(benchmark::State& state) {
    scan_chain(state, bypass_chain(static_cast<int>(state.range(0))));
}
BENCHMARK(ChainBypass)->Arg(1)->Arg(16)->Arg(256);

// What a driver queues for a scan of kScanBits bits, in as many batches as it takes.
class ScanBatches {
public:
    ScanBatches(unsigned option, bool waits) : waits_(waits) {
        queues_.emplace_back();
        constexpr unsigned kWords = kScanBits / 16;
        launch(TBC_STATE_IDLE, option, kScanBits);
        switch (option) {
        case TBC_SCAN_BOTH:
            exchange(kWords);
            break;
        case TBC_SCAN_RECEIVE:
            for (unsigned i = 0; i < kWords; ++i) {
                wait_if_asked(SHM_WAIT_READ_ONE);
                put(1).read(TBC_PORT_RECEIVE);
            }
            break;
        case TBC_SCAN_SEND:
            for (unsigned i = 0; i < kWords; ++i) {
                if (i >= 2) {
                    wait_if_asked(SHM_WAIT_WRITE_ONE);
                }
                put(2).write(TBC_PORT_SEND, i * 40503);
            }
            break;
        default:
            break;
        }
        put(1).word(SHM_WAIT_DONE);
    }

    // Selects the first device's long register.
    void select() {
        launch(TBC_STATE_IR_PATH | TBC_STATE_IDLE, TBC_SCAN_SEND, 4);
        put(2).write(TBC_PORT_SEND, kSelectInstruction);
        put(1).word(SHM_WAIT_DONE);
    }

    std::vector<batch::Queue>& queues() { return queues_; }

private:
    batch::Queue& put(size_t words) {
        constexpr size_t kMarker = 1;
        if (!queues_.back().has_room(words + kMarker)) {
            queues_.emplace_back();
        }
        return queues_.back();
    }
    void wait_if_asked(unsigned word) {
        if (waits_) {
            put(1).word(word);
        }
    }
    void launch(unsigned end, unsigned option, uint64_t bits) {
        constexpr unsigned kConfig = TBC_CONFIG_DEFAULT | LINK_DELAY_DEFAULT;
        put(2).write(TBC_PORT_POD_TIMING, waits_ ? POD_TIMING_HOST_WAITS : 0);
        put(2).write(TBC_PORT_COUNT_LOW, (bits - 1) & 0xFFFF);
        put(2).write(TBC_PORT_COUNT_HIGH, static_cast<unsigned>((bits - 1) >> 16));
        put(2).write(TBC_PORT_OPERATION, end | TBC_TRANSIT_SCAN);
        put(2).write(TBC_PORT_CONFIG, option | kConfig);
        put(2).write(TBC_PORT_CONTROL, TBC_CONTROL_EMPTY);
        put(2).write(TBC_PORT_CONTROL, TBC_CONTROL_RUN);
    }
    // Two words are on their way.
    void exchange(unsigned count) {
        put(2).write(TBC_PORT_SEND, 0);
        put(2).write(TBC_PORT_SEND, 1);
        for (unsigned i = 0; i < count; ++i) {
            wait_if_asked(SHM_WAIT_READ_ONE);
            if (i >= 1 && i + 1 < count) {
                put(2).write(TBC_PORT_SEND, i * 40503);
            }
            put(1).read(TBC_PORT_RECEIVE);
        }
    }

    bool waits_;
    std::vector<batch::Queue> queues_;
};

// A controller that executes batches, as a pod does, their copy out of the block included.
class Pod {
public:
    Pod(const ChainDescription& description, bool takes_runs)
        : chain_(description), controller_(settings(takes_runs), chain_) {
        ScanBatches scan(TBC_SCAN_ZEROS, true);
        scan.select();
        run(scan);
    }

    void run(ScanBatches& scan) {
        for (batch::Queue& queue : scan.queues()) {
            const batch::Outcome outcome =
                batch::execute(queue.batch(), queue.in(), controller_, stop_);
            if (outcome.error) {
                std::fprintf(stderr, "word %zu: %s\n", outcome.error->index,
                             outcome.error->reason.c_str());
                std::abort();
            }
        }
    }

private:
    static ControllerSettings settings(bool takes_runs) {
        ControllerSettings settings;
        settings.strict = true;
        settings.takes_runs = takes_runs;
        return settings;
    }

    Chain chain_;
    Controller controller_;
    std::atomic<bool> stop_{false};
};

// Arguments: the number of devices in BYPASS, or 0: one long register; whether the batch holds the
// waits; whether runs of data words are taken in one piece.
void controller_scan(benchmark::State& state, unsigned option) {
    Pod pod(state.range(0) == 0 ? one_long_register()
                                : bypass_chain(static_cast<int>(state.range(0))),
            state.range(2) != 0);
    ScanBatches scan(option, state.range(1) != 0);
    for (auto _ : state) {
        pod.run(scan);
    }
    report_bits(state, kScanBits);
}

void arguments(benchmark::internal::Benchmark* bench) {
    bench->ArgNames({"bypass", "waits", "runs"})->ArgsProduct({{0, 16}, {1, 0}, {1, 0}});
}
BENCHMARK_CAPTURE(controller_scan, Both, TBC_SCAN_BOTH)->Apply(arguments);
BENCHMARK_CAPTURE(controller_scan, Receive, TBC_SCAN_RECEIVE)->Apply(arguments);
BENCHMARK_CAPTURE(controller_scan, Send, TBC_SCAN_SEND)->Apply(arguments);
BENCHMARK_CAPTURE(controller_scan, Ones, TBC_SCAN_ONES)
    ->ArgNames({"bypass", "waits", "runs"})
    ->Args({0, 1, 1})
    ->Args({16, 1, 1});

} // namespace
