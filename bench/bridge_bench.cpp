// How many clock edges of a client the edge engine takes, before a line that costs next to nothing
// and before a simulated pod. TDO is wanted for all of them.
#include "host/bridge/edge_engine.h"
#include "host/bridge/pod_edge_line.h"
#include "host/session/session.h"
#include "simulated_host.h"

#include <benchmark/benchmark.h>

#include <cstdint>
#include <memory>

namespace {

using namespace talvor;

// One bit between TDI and TDO, whatever is captured.
class ShortLine final : public EdgeLine {
public:
    [[nodiscard]] Status send(ScanPath path, const Bits& out, StableState end) override {
        return exchange(path, out, dropped_, end);
    }
    [[nodiscard]] Status exchange(ScanPath, const Bits& out, Bits& in, StableState) override {
        way_.append(out);
        in = way_.slice(0, out.size());
        way_ = way_.slice(out.size(), kHeldBits + 1);
        return {};
    }
    [[nodiscard]] Status move(StableState) override { return {}; }
    [[nodiscard]] Status idle(uint32_t) override { return {}; }
    [[nodiscard]] Status reset_tap() override { return {}; }
    [[nodiscard]] Result<StableState> ask_state() override { return StableState::Reset; }
    [[nodiscard]] Status pulse_trst() override { return {}; }
    [[nodiscard]] Status pulse_srst() override { return {}; }
    [[nodiscard]] Status set_max_frequency(double) override { return {}; }
    [[nodiscard]] double hertz() const override { return 0; }
    [[nodiscard]] Status flush() override { return {}; }

private:
    Bits way_{kHeldBits + 1};
    Bits dropped_;
};

void check(const Status& done) {
    if (!done) {
        std::fprintf(stderr, "%s\n", headline(done.error()).c_str());
        std::exit(1);
    }
}

std::unique_ptr<Session> open_session() {
    bench::ensure_simulator();
    SessionOptions options;
    options.library = TALVOR_LIBRARY;
    options.serial = 1; // one TAP in BYPASS
    options.lost = [](const Error& error) { check(Failure(error)); };
    auto session = Session::open(options);
    check(session.map([](const auto&) { return Done{}; }));
    return std::move(*session);
}

Bits random_bits(size_t count) {
    Bits bits;
    MarkerSource(1).append(bits, count);
    return bits;
}

// Whole scans of `bits` bits, each with its way from Run-Test/Idle and back in the same vector.
void scans(benchmark::State& state, EdgeLine& line) {
    const auto bits = static_cast<size_t>(state.range(0));
    Bits tms = Bits::from_uint(1, bits + 5);
    tms.set(bits + 2, true);
    tms.set(bits + 3, true);
    const Bits tdi = random_bits(tms.size());
    EdgeEngine engine(line, {});
    check(engine.clock(Bits::from_uint(0x1F, 6), Bits(6), nullptr));
    Bits tdo;
    for (auto _ : state) {
        check(engine.clock(tms, tdi, &tdo));
        benchmark::DoNotOptimize(tdo);
    }
    check(engine.settle());
    state.SetItemsProcessed(state.iterations());
    state.counters["bits"] =
        benchmark::Counter(static_cast<double>(state.iterations()) * static_cast<double>(bits),
                           benchmark::Counter::kIsRate);
}

void EdgesOnAShortLine(benchmark::State& state) {
    ShortLine line;
    scans(state, line);
}
BENCHMARK(EdgesOnAShortLine)->Arg(32)->Arg(524288);

void EdgesOnAPod(benchmark::State& state) {
    const std::unique_ptr<Session> session = open_session();
    PodEdgeLine line(session->port());
    scans(state, line);
}
BENCHMARK(EdgesOnAPod)->Arg(32)->Arg(524288)->UseRealTime();

} // namespace
