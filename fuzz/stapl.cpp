// Fuzzes the compiler, the machine and the reader of STAPL. The input is the file itself; every
// action of it is rehearsed and played.
#include "fuzz/base/check.h"
#include "fuzz/base/heap_meter.h"
#include "fuzz/base/strict_port.h"
#include "fuzz/targets.h"
#include "host/play/checker.h"
#include "host/play/player.h"
#include "host/stapl/compiler.h"
#include "host/stapl/reader.h"

#include <algorithm>
#include <string>

namespace talvor::fuzz {

namespace {

constexpr const char* kName = "a.stapl";
constexpr uint64_t kMostBits = uint64_t{1} << 16;
constexpr size_t kMostArrayBytes = size_t{1} << 20;
constexpr uint64_t kMostStatements = 20'000;
constexpr uint64_t kMostSteps = 2'000;
// Of tokens, code and arrays; an input of the fuzzer has some thousand bytes.
constexpr size_t kMostBytes = size_t{32} << 20;
stapl::LexerLimits limits() {
    stapl::LexerLimits limits;
    limits.max_literal_bytes = kMostArrayBytes;
    return limits;
}

Result<stapl::Program> compiled(std::string_view text, size_t piece_bytes) {
    play::TextSource source(text, kName, piece_bytes);
    return stapl::compile(source, limits());
}

stapl::ReaderOptions options() {
    stapl::ReaderOptions options;
    options.limits.max_array_bytes = kMostArrayBytes;
    options.limits.max_stack = 1000;
    options.limits.max_scan_bits = kMostBits;
    options.limits.max_idle_statements = kMostStatements;
    options.max_rehearsed_statements = kMostStatements;
    return options;
}

void check_action(const stapl::Program& program, const stapl::Action& action) {
    stapl::Choices choices;
    choices.action = action.name;
    Result<stapl::Selection> selection = stapl::select(program, choices);
    FUZZ_CHECK(selection.has_value(), "an action of the file can be selected");
    StrictPort port(3 * kMostBits, StrictPort::Answer::TurnedInTurn);
    stapl::Reader reader(program, *std::move(selection), port, options());
    const Result<play::CheckReport> checked = play::check(reader);
    FUZZ_CHECK(checked.has_value(), "a rehearsal ends");
    for (const Error& refusal : checked->refusals) {
        check_error(refusal, kName);
    }
    uint64_t exported = 0;
    stapl::Listener listener;
    listener.bits = [&exported](std::string_view, const Bits& bits) { exported += bits.size(); };
    reader.perform(listener);
    uint64_t steps = 0;
    play::PlayOptions how;
    how.progress = [&steps](const play::Progress&) { return ++steps < kMostSteps; };
    play::Player player(port, how);
    const Status played = player.play(reader);
    if (!played) {
        check_error(played.error(), kName);
    } else if (player.report().verdict) {
        check_error(*player.report().verdict, kName);
        FUZZ_CHECK(reader.outcome().code != 0, "what ends well has no complaint");
    }
    FUZZ_CHECK(reader.bytes_taken() <= reader.total_bytes(), "no more is read than there is");
}

} // namespace

void run_stapl(Bytes input) {
    const std::string_view text = text_of(input);
    const HeapMeter meter;
    const Result<stapl::Program> program = compiled(text, SIZE_MAX);
    for (const size_t piece_bytes : {size_t{1}, size_t{7}}) {
        const Result<stapl::Program> again = compiled(text, piece_bytes);
        FUZZ_CHECK(again.has_value() == program.has_value() &&
                       (!again || again->code.size() == program->code.size()) &&
                       (again || again.error() == program.error()),
                   "how a file is cut into pieces does not matter");
    }
    if (!program) {
        check_error(program.error(), kName);
        return;
    }
    const size_t most = std::min<size_t>(program->actions.size(), 4);
    for (size_t i = 0; i < most; ++i) {
        check_action(*program, program->actions[i]);
    }
    FUZZ_CHECK(meter.peak_bytes() <= kMostBytes,
               "memory is bounded: " + std::to_string(meter.peak_bytes()) + " bytes");
}

} // namespace talvor::fuzz
