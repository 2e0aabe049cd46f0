// How fast SVF text is read, checked and played, in bytes of text a second.
#include "host/jtag/null_port.h"
#include "host/svf/checker.h"
#include "host/svf/parser.h"
#include "host/svf/player.h"

#include <benchmark/benchmark.h>

#include <cstdint>
#include <random>
#include <string>

namespace {

using namespace talvor;
using namespace talvor::svf;

constexpr size_t kFileBytes = size_t{64} << 20;

std::string digits(std::mt19937_64& random, size_t count, size_t line_length) {
    std::string text;
    text.reserve(count + count / line_length + 1);
    for (size_t i = 0; i < count; ++i) {
        if (i != 0 && i % line_length == 0) {
            text += '\n';
        }
        text += "0123456789ABCDEF"[random() % 16];
    }
    return text;
}

// Scans of `scan_bits` bits with TDI, TDO and MASK, their digits in lines of `line_length`.
std::string make_file(size_t scan_bits, size_t line_length) {
    std::mt19937_64 random(1);
    const std::string value = digits(random, scan_bits / 4, line_length);
    const std::string ones(scan_bits / 4, 'F');
    std::string text = "! generated\nSTATE RESET;\n";
    while (text.size() < kFileBytes) {
        text += "SIR 8 TDI (2A);\nSDR " + std::to_string(scan_bits) + " TDI (" + value +
                ")\n TDO (" + value + ")\n MASK (" + ones + ");\nRUNTEST 100 TCK;\n";
    }
    return text;
}

void count(benchmark::State& state, const std::string& text) {
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(text.size()));
}

void parse_file(benchmark::State& state) {
    const std::string text =
        make_file(static_cast<size_t>(state.range(0)), static_cast<size_t>(state.range(1)));
    for (auto _ : state) {
        play::TextSource source(text, "bench", size_t{1} << 20);
        Parser parser(source);
        Statement statement;
        uint64_t statements = 0;
        Result<bool> more = true;
        while ((more = parser.next(statement)) && *more) {
            ++statements;
        }
        if (!more) {
            state.SkipWithError(headline(more.error()).c_str());
        }
        benchmark::DoNotOptimize(statements);
    }
    count(state, text);
}

void check_file(benchmark::State& state) {
    const std::string text =
        make_file(static_cast<size_t>(state.range(0)), static_cast<size_t>(state.range(1)));
    const NullPort port;
    for (auto _ : state) {
        play::TextSource source(text, "bench", size_t{1} << 20);
        if (const Result<play::Summary> summary = check(source, port); !summary) {
            state.SkipWithError(headline(summary.error()).c_str());
        }
    }
    count(state, text);
}

// Both passes, with headers and trailers to merge, on a port that returns what it is sent.
void play_file(benchmark::State& state) {
    const std::string text =
        "HDR 3 TDI (0); TDR 5 TDI (0);\n" +
        make_file(static_cast<size_t>(state.range(0)), static_cast<size_t>(state.range(1)));
    NullPort port;
    for (auto _ : state) {
        play::TextSource source(text, "bench", size_t{1} << 20);
        const Result<play::PlayReport> report = check_and_play(source, port);
        if (!report || report->mismatches != 0) {
            state.SkipWithError("the file did not play");
        }
    }
    count(state, text);
}

// Bits of one scan, digits in one line.
#define TALVOR_SVF_SIZES                                                                           \
    ArgNames({"scan_bits", "line"})                                                                \
        ->Args({64, 1 << 30})                                                                      \
        ->Args({4096, 1 << 30})                                                                    \
        ->Args({1 << 20, 72})                                                                      \
        ->Args({1 << 26, 1 << 30})                                                                 \
        ->Unit(benchmark::kMillisecond)

BENCHMARK(parse_file)->TALVOR_SVF_SIZES;
BENCHMARK(check_file)->TALVOR_SVF_SIZES;
BENCHMARK(play_file)->TALVOR_SVF_SIZES;

} // namespace
