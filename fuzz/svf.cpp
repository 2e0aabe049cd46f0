// SVF: reading, checking, planning and playing a file. The input is the file.
#include "fuzz/base/check.h"
#include "fuzz/base/heap_meter.h"
#include "fuzz/base/strict_port.h"
#include "fuzz/targets.h"
#include "host/svf/checker.h"
#include "host/svf/player.h"

#include <string>

namespace talvor::fuzz {
namespace {

constexpr const char* kName = "a.svf";
constexpr uint64_t kMostBits = 1U << 16;
// Six statements with three values each are remembered, one more is read, and a scan is joined from
// three and its answer kept; the rest is for texts, tokens and the answer's own copies.
constexpr size_t kMostBytes = size_t{6 * 3 + 4 + 2 * 3 + 8} * (kMostBits / 8) * 2 + (1U << 20);
// The first piece of each line's number in "a.svf:12". A file without a statement has no such line.
void check_place(const Error& error, std::string_view text) {
    check_error(error, kName);
    if (error.thing == kName) {
        FUZZ_CHECK(error.reason.starts_with("is empty") ||
                       error.reason.starts_with("has no statement"),
                   "an error names a line of the file: " + error.reason);
        return;
    }
    const auto lines = static_cast<uint64_t>(std::count(text.begin(), text.end(), '\n')) + 1;
    const std::string number = error.thing.substr(std::string_view(kName).size() + 1);
    FUZZ_CHECK(std::stoull(number) >= 1 && std::stoull(number) <= lines,
               "an error names a line of the file: " + error.thing);
}

Result<play::Summary> check_in_pieces(std::string_view text, size_t piece_bytes) {
    play::TextSource source(text, kName, piece_bytes);
    const StrictPort port(3 * kMostBits, StrictPort::Answer::AsSent);
    return svf::check(source, port, {.reader = {.limits = {kMostBits}}, .progress = {}});
}

void check_playing(std::string_view text, const Result<play::Summary>& checked) {
    play::TextSource source(text, kName);
    StrictPort port(3 * kMostBits, StrictPort::Answer::AsSent);
    uint64_t told = 0;
    svf::PlayOptions options;
    options.reader.limits = {kMostBits};
    options.keep_going = true;
    options.on_mismatch = [&told](const play::Mismatch& mismatch) {
        ++told;
        FUZZ_CHECK(mismatch.differing_bits != 0 && !mismatch.first_bits.empty(),
                   "a mismatch has bits that differ");
        check_error(play::to_error(mismatch, kName), kName);
    };
    const Result<play::PlayReport> played = svf::play(source, port, options);
    FUZZ_CHECK(played.has_value() == checked.has_value(), "what was checked can be played");
    if (!played) {
        FUZZ_CHECK(played.error() == checked.error(), "both passes find the same fault");
        return;
    }
    FUZZ_CHECK(played->summary == *checked, "both passes count the same");
    FUZZ_CHECK(port.scans == checked->ir_scans + checked->dr_scans, "every scan was shifted");
    FUZZ_CHECK(port.bits == checked->ir_bits + checked->dr_bits, "every bit was shifted");
    FUZZ_CHECK(told == played->mismatches && played->complete, "every mismatch was told");
    FUZZ_CHECK(checked->run_time.count() >= 0, "a sum of times is not negative");
}

} // namespace

void run_svf(Bytes input) {
    const std::string_view text = text_of(input);
    const HeapMeter meter;
    const Result<play::Summary> checked = check_in_pieces(text, SIZE_MAX);
    if (checked) {
        FUZZ_CHECK(checked->bytes == text.size(), "a good file was read to its end");
    } else {
        check_place(checked.error(), text);
    }
    for (const size_t piece_bytes : {size_t{1}, size_t{7}}) {
        FUZZ_CHECK(check_in_pieces(text, piece_bytes) == checked,
                   "how a file is cut into pieces does not matter");
    }
    check_playing(text, checked);
    FUZZ_CHECK(meter.peak_bytes() <= kMostBytes,
               "memory is bounded: " + std::to_string(meter.peak_bytes()) + " bytes");
}

} // namespace talvor::fuzz
