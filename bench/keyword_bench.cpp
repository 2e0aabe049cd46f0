// Look-up of configuration keywords: the longest way (the last entry, no entry) and abbreviations.
#include "sys/keyword.h"

#include <benchmark/benchmark.h>

#include <cstring>

namespace {

// Twenty entries, several of them with beginnings in common.
constexpr const char* kTable[] = {
    "default",    "disable",       "enable",        "tms_reset",     "tms_idle",   "scan_dr",
    "scan_ir",    "pause_dr",      "pause_ir",      "link_delay",    "link_value", "loop_mode",
    "loop_value", "boot_mode_one", "boot_mode_two", "boot_mode_six", "edge_rise",  "edge_fall",
    "legacy",     "last_entry",    nullptr,
};

void find(benchmark::State& state, const char* text) {
    const auto length = static_cast<uint32_t>(std::strlen(text));
    for (auto _ : state) {
        uint32_t index = 0;
        benchmark::DoNotOptimize(str0_find_keyword(text, kTable, &index, length));
        benchmark::DoNotOptimize(index);
    }
}
BENCHMARK_CAPTURE(find, first_entry, "default");
BENCHMARK_CAPTURE(find, abbreviation, "BOOT_MODE_S");
BENCHMARK_CAPTURE(find, last_entry, "LAST_ENTRY");
BENCHMARK_CAPTURE(find, no_entry, "nothing_of_the_kind");

} // namespace
