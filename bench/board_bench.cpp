// What the boundary registers of a simulated board cost: a scan of one that only looks, and one
// that drives nets and sees them change.
#include "podsim/model/bsdl_device.h"
#include "podsim/model/chain.h"

#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace talvor;
using namespace talvor::podsim;

constexpr uint64_t kExtest = 0;
constexpr uint64_t kSample = 1;
constexpr unsigned kInstructionBits = 4;

// `pins` bidirectional pins with a data cell and a control cell each.
DeviceDescription device_of_pins(const std::string& name, size_t pins) {
    auto device = std::make_shared<bsdl::Device>();
    device->name = name;
    device->instruction_bits = kInstructionBits;
    device->instruction_capture.text = "0001";
    for (const auto& [word, opcode] : {std::pair{"EXTEST", "0000"}, {"SAMPLE", "0001"}}) {
        bsdl::Instruction instruction;
        instruction.name = word;
        instruction.opcodes.push_back({opcode});
        device->instructions.push_back(std::move(instruction));
    }
    for (size_t i = 0; i < pins; ++i) {
        bsdl::Signal signal;
        signal.name = signal.port = "P" + std::to_string(i);
        signal.mode = bsdl::PortMode::InOut;
        device->signals.push_back(std::move(signal));
        bsdl::Cell data;
        data.number = 2 * i;
        data.type = "BC_7";
        data.signal = i;
        data.function = bsdl::CellFunction::Bidir;
        data.control = 2 * i + 1;
        bsdl::Cell control;
        control.number = 2 * i + 1;
        control.type = "BC_1";
        control.function = bsdl::CellFunction::Control;
        device->cells.push_back(std::move(data));
        device->cells.push_back(std::move(control));
    }
    device->boundary_bits = 2 * pins;
    auto made = device_of(name, std::move(device));
    if (!made) {
        std::abort();
    }
    return *std::move(made);
}

// Two devices whose pins are joined one to one.
ChainDescription board(size_t nets) {
    ChainDescription chain{{device_of_pins("a", nets), device_of_pins("b", nets)}, {}};
    for (size_t i = 0; i < nets; ++i) {
        chain.board.nets.push_back({.name = "N" + std::to_string(i),
                                    .pins = {{0, i}, {1, i}},
                                    .pull = {},
                                    .drive = {},
                                    .floating = {}});
    }
    return chain;
}

void move(Chain& chain, TapState to) {
    const TmsPath path = shortest_path(chain.state(), to);
    if (path.count != 0 && !chain.move(path.tms, path.count, true)) {
        std::abort();
    }
}

void scan(Chain& chain, const std::vector<uint64_t>& tdi, std::vector<uint64_t>& tdo,
          uint64_t bits) {
    if (!chain.shift(tdi, tdo, bits, true)) {
        std::abort();
    }
    move(chain, TapState::RunTestIdle);
}

// Scans of both registers by an instruction; the values change from scan to scan.
void scan_board(benchmark::State& state, uint64_t instruction) {
    const auto nets = static_cast<size_t>(state.range(0));
    const uint64_t bits = 4 * nets;
    Chain chain(board(nets));
    std::vector<uint64_t> tdo(words_for(bits));
    move(chain, TapState::ShiftIr);
    scan(chain, {instruction << kInstructionBits | instruction}, tdo, 2 * kInstructionBits);
    // All data cells of "b", which is nearest TDO, are off; those of "a" drive changing levels.
    std::vector<std::vector<uint64_t>> values(2, std::vector<uint64_t>(tdo.size()));
    for (uint64_t bit = bits / 2; bit < bits; ++bit) {
        for (size_t i = 0; i < values.size(); ++i) {
            const bool one = bit % 2 == 1 || (bit / 2 + i) % 2 == 0;
            values[i][bit / kWordBits] |= uint64_t{one} << (bit % kWordBits);
        }
    }
    size_t turn = 0;
    for (auto _ : state) {
        move(chain, TapState::ShiftDr);
        scan(chain, values[turn++ % 2], tdo, bits);
    }
    benchmark::DoNotOptimize(tdo.data());
}

void sample(benchmark::State& state) {
    scan_board(state, kSample);
}

void extest(benchmark::State& state) {
    scan_board(state, kExtest);
}

// The argument is the number of nets; the chain has four cells for each.
BENCHMARK(sample)->Arg(250)->Arg(500);
BENCHMARK(extest)->Arg(250)->Arg(500);

} // namespace
