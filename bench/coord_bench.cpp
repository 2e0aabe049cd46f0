// Test-clock coordinates: the arithmetic of a search, and the reading of frequency texts.
#include "jsc_export.h"

#include <benchmark/benchmark.h>

#include <cstring>

namespace {

// Every real coordinate from 500 kHz to 2^7 * 127/64 MHz.
template <typename Work>
void for_each_coordinate(benchmark::State& state, Work work) {
    int64_t count = 0;
    for (auto _ : state) {
        for (int y = PLL_TCLK_Y_MIN; y <= PLL_TCLK_Y_MAX; ++y) {
            for (int z = PLL_TCLK_Z_MIN; z <= PLL_TCLK_Z_MAX; ++z) {
                coord_t coord =
                    pll_RePack(nullptr, static_cast<int8_t>(y), static_cast<uint8_t>(z));
                work(coord);
                benchmark::DoNotOptimize(coord);
                ++count;
            }
        }
    }
    state.SetItemsProcessed(count);
}

void margins(benchmark::State& state) {
    for_each_coordinate(state, [](coord_t& coord) {
        pll_AddMargin(&coord, PLL_TCLK_MARGIN_ADVANCE);
        pll_SubMargin(&coord, PLL_TCLK_MARGIN_RETREAT);
    });
}
BENCHMARK(margins);

void values(benchmark::State& state) {
    for_each_coordinate(state, [](coord_t& coord) {
        pll_AddValue(&coord, PLL_TCLK_W_THOUSAND);
        pll_SubValue(&coord, PLL_TCLK_W_MILLION);
    });
}
BENCHMARK(values);

void hertz(benchmark::State& state) {
    for_each_coordinate(state, [](coord_t& coord) { coord = pll_CoordToHertz(coord); });
}
BENCHMARK(hertz);

void text(benchmark::State& state) {
    for_each_coordinate(state,
                        [](coord_t& coord) { benchmark::DoNotOptimize(pll_CoordToText(coord)); });
}
BENCHMARK(text);

void read_text(benchmark::State& state, const char* frequency) {
    const auto length = static_cast<uint32_t>(std::strlen(frequency));
    for (auto _ : state) {
        coord_t coord = 0;
        benchmark::DoNotOptimize(pll_StrLenToCoord(length, frequency, &coord));
        benchmark::DoNotOptimize(coord);
    }
}
BENCHMARK_CAPTURE(read_text, half_step, "12.5");
BENCHMARK_CAPTURE(read_text, megahertz, "10.375MHz");
BENCHMARK_CAPTURE(read_text, kilohertz, "500kHz");

// A whole bisection, of a target that fails just above the lower bound.
void bisection(benchmark::State& state) {
    for (auto _ : state) {
        PLL_Next history{};
        bool done = false;
        coord_t next = 0;
        pll_GetNextFrequency(false, PLL_TCLK_W_TEN, PLL_STATE_POWER_INIT, &done, &next, &history);
        while (!done) {
            pll_GetNextFrequency(true, next, PLL_STATE_POWER, &done, &next, &history);
        }
        benchmark::DoNotOptimize(next);
    }
}
BENCHMARK(bisection);

} // namespace
