// How many bits a second the simulated pod's model shifts: the chain alone, and through the
// controller's registers word by word, as batches do.
#include "podsim/model/chain.h"
#include "podsim/model/controller.h"
#include "shm_structs.h"

#include <benchmark/benchmark.h>

#include <cstdint>
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

// A controller with a chain whose first device has the instruction of the long register.
class Pod {
public:
    explicit Pod(const ChainDescription& description)
        : chain_(description), controller_({}, chain_) {
        write(TBC_PORT_CONFIG, TBC_CONFIG_DEFAULT | LINK_DELAY_DEFAULT);
        launch(TBC_STATE_IR_PATH | TBC_STATE_IDLE, TBC_SCAN_SEND, 4);
        write(TBC_PORT_SEND, kSelectInstruction);
        wait(SHM_WAIT_DONE);
    }

    void write(uint16_t port, unsigned value) {
        if (!controller_.write(port, static_cast<uint16_t>(value))) {
            std::abort();
        }
    }
    uint16_t read(uint16_t port) { return controller_.read(port).value_or(0); }
    void wait(uint16_t word) {
        if (!controller_.wait(word)) {
            std::abort();
        }
    }
    void launch(unsigned end, unsigned option, uint64_t bits) {
        write(TBC_PORT_COUNT_LOW, (bits - 1) & 0xFFFF);
        write(TBC_PORT_COUNT_HIGH, static_cast<unsigned>((bits - 1) >> 16));
        write(TBC_PORT_OPERATION, end | TBC_TRANSIT_SCAN);
        write(TBC_PORT_CONFIG, option | TBC_CONFIG_DEFAULT | LINK_DELAY_DEFAULT);
        write(TBC_PORT_CONTROL, TBC_CONTROL_EMPTY);
        write(TBC_PORT_CONTROL, TBC_CONTROL_RUN);
    }

    void scan_both() {
        launch(TBC_STATE_IDLE, TBC_SCAN_BOTH, kScanBits);
        constexpr unsigned kWords = kScanBits / 16;
        write(TBC_PORT_SEND, 0x1234);
        for (unsigned i = 1; i <= kWords; ++i) {
            if (i < kWords) {
                write(TBC_PORT_SEND, i);
            }
            wait(SHM_WAIT_READ_ONE);
            benchmark::DoNotOptimize(read(TBC_PORT_RECEIVE));
        }
        wait(SHM_WAIT_DONE);
    }

    void scan_receive() {
        launch(TBC_STATE_IDLE, TBC_SCAN_RECEIVE, kScanBits);
        for (unsigned i = 0; i < kScanBits / 16; ++i) {
            wait(SHM_WAIT_READ_ONE);
            benchmark::DoNotOptimize(read(TBC_PORT_RECEIVE));
        }
        wait(SHM_WAIT_DONE);
    }

    void scan_send() {
        launch(TBC_STATE_IDLE, TBC_SCAN_SEND, kScanBits);
        for (unsigned i = 0; i < kScanBits / 16; ++i) {
            wait(SHM_WAIT_WRITE_ONE);
            write(TBC_PORT_SEND, i);
        }
        wait(SHM_WAIT_DONE);
    }

    void scan_ones() {
        launch(TBC_STATE_IDLE, TBC_SCAN_ONES, kScanBits);
        wait(SHM_WAIT_DONE);
    }

private:
    Chain chain_;
    Controller controller_;
};

template <void (Pod::*kScan)()>
void controller_scan(benchmark::State& state) {
    Pod pod(state.range(0) == 0 ? one_long_register()
                                : bypass_chain(static_cast<int>(state.range(0))));
    for (auto _ : state) {
        (pod.*kScan)();
    }
    report_bits(state, kScanBits);
}

// The argument is the number of devices in BYPASS; 0 is one long register.
BENCHMARK(controller_scan<&Pod::scan_both>)->Name("ControllerBoth")->Arg(0)->Arg(16);
BENCHMARK(controller_scan<&Pod::scan_receive>)->Name("ControllerReceive")->Arg(0)->Arg(16);
BENCHMARK(controller_scan<&Pod::scan_send>)->Name("ControllerSend")->Arg(0)->Arg(16);
BENCHMARK(controller_scan<&Pod::scan_ones>)->Name("ControllerOnes")->Arg(0)->Arg(16);

} // namespace
