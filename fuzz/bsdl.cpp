// BSDL: reading and checking a file. The input is the file.
#include "common/bsdl/reader.h"
#include "common/bsdl/report.h"
#include "common/bsdl/words.h"
#include "fuzz/base/check.h"
#include "fuzz/base/heap_meter.h"
#include "fuzz/targets.h"

#include <algorithm>
#include <string>

namespace talvor::fuzz {
namespace {

using namespace bsdl;

constexpr const char* kName = "a.bsd";
// A device takes more than its file: a signal or a cell of a dozen letters has names and places of
// its own. The first part is for a vector, which takes no letters.
constexpr size_t kMostBytes = size_t{20} << 20U;
constexpr size_t kMostBytesEach = 64;

void check_place(const Place& place, std::string_view text) {
    const auto lines = static_cast<uint64_t>(std::count(text.begin(), text.end(), '\n') +
                                             std::count(text.begin(), text.end(), '\r')) +
                       1;
    FUZZ_CHECK(place.line <= lines, "a place is a line of the file");
    FUZZ_CHECK((place.line == 0) == (place.column == 0), "a place has a line and a column");
    FUZZ_CHECK(place.column <= text.size() + 1, "a place is a column of the file");
}

void check_pattern(const Pattern& pattern) {
    FUZZ_CHECK(pattern.text.find_first_not_of("01X") == std::string::npos,
               "a pattern is of 0, 1 and X");
    FUZZ_CHECK(pattern.matches(pattern.value()), "a pattern matches its own value");
}

void check_index(const Device& device, const std::optional<size_t>& signal) {
    FUZZ_CHECK(!signal || *signal < device.signals.size(), "an index is that of a signal");
}

void check_signals(const Device& device, std::string_view text) {
    for (const Signal& signal : device.signals) {
        FUZZ_CHECK(!signal.name.empty() && signal.name.starts_with(signal.port),
                   "a signal is called after its port");
        check_place(signal.place, text);
        FUZZ_CHECK(port_mode(port_mode_word(signal.mode)) == signal.mode, "a mode has a word");
    }
    if (!device.signals.empty()) {
        const auto last = find_signal(device, device.signals.back().name);
        FUZZ_CHECK(last && same_name(device.signals[*last].name, device.signals.back().name),
                   "a signal is found by its name");
    }
    const TapSignals& tap = device.tap;
    for (const auto& signal : {tap.tck, tap.tms, tap.tdi, tap.tdo, tap.trst}) {
        check_index(device, signal);
    }
    FUZZ_CHECK(tap.max_tck_hz >= 0, "a frequency is not negative");
    for (const size_t signal : device.compliance.signals) {
        check_index(device, signal);
    }
    for (const Pattern& pattern : device.compliance.patterns) {
        FUZZ_CHECK(pattern.bits() == device.compliance.signals.size(), "a bit for each signal");
    }
    for (const SignalPair& pair : device.pairs) {
        check_index(device, pair.representative);
        check_index(device, pair.associated);
    }
}

void check_instructions(const Device& device, std::string_view text) {
    for (const Instruction& instruction : device.instructions) {
        check_place(instruction.place, text);
        FUZZ_CHECK(find_instruction(device, instruction.name) == &instruction,
                   "an instruction is found by its name, and has it alone");
        std::for_each(instruction.opcodes.begin(), instruction.opcodes.end(), check_pattern);
    }
    FUZZ_CHECK(device.instruction_bits == 0 || find_instruction(device, "BYPASS") != nullptr,
               "there is always a BYPASS");
    for (const Pattern& code : device.idcodes) {
        FUZZ_CHECK(code.bits() == 32, "a code has 32 bits");
        check_pattern(code);
    }
    for (const RegisterAccess& access : device.registers) {
        check_place(access.place, text);
        FUZZ_CHECK(access.captures.size() == access.instructions.size(),
                   "each instruction of a register captures something");
    }
}

void check_cells(const Description& description, std::string_view text) {
    const Device& device = description.device;
    FUZZ_CHECK(std::is_sorted(device.cells.begin(), device.cells.end(),
                              [](const Cell& a, const Cell& b) { return a.number < b.number; }),
               "cells are in the order of their numbers");
    for (const Cell& cell : device.cells) {
        check_place(cell.place, text);
        check_index(device, cell.signal);
        FUZZ_CHECK(cell.safe == '0' || cell.safe == '1' || cell.safe == 'X', "a safe value");
        if (description.usable()) {
            FUZZ_CHECK(cell.number < device.boundary_bits, "a cell is within the register");
            FUZZ_CHECK(!cell.control || *cell.control < device.boundary_bits,
                       "a control cell is within the register");
        }
    }
    if (description.usable() && !device.cells.empty()) {
        FUZZ_CHECK(device.boundary_bits <= device.cells.size(), "no cell is missing");
    }
}

void check_description(const Description& description, std::string_view text) {
    FUZZ_CHECK(!description.device.name.empty(), "a device has a name");
    FUZZ_CHECK(description.findings.size() <= 2 * kMostFindings + 2, "findings are bounded");
    for (const Finding& finding : description.findings) {
        check_place(finding.place, text);
        FUZZ_CHECK(!finding.text.empty(), "a finding has a text");
    }
    check_signals(description.device, text);
    check_instructions(description.device, text);
    check_cells(description, text);
}

} // namespace

void run_bsdl(Bytes input) {
    const std::string_view text = text_of(input);
    const HeapMeter meter;
    const Result<Description> description = parse_bsdl(text, kName);
    FUZZ_CHECK(meter.peak_bytes() <= kMostBytes + kMostBytesEach * text.size(),
               "memory is bounded: " + std::to_string(meter.peak_bytes()) + " bytes");
    if (description) {
        check_description(*description, text);
    } else {
        check_error(description.error(), kName);
    }
    // A map of another name changes pins and nothing else.
    const Result<Description> other = parse_bsdl(text, kName, {.package = "NONE_OF_THEM"});
    FUZZ_CHECK(description || !other, "what cannot be read cannot be read with a package");
}

} // namespace talvor::fuzz
