#include "host/svf/writer.h"

#include "host/play/whole_scan.h"
#include "host/svf/keyword.h"

#include <fmt/format.h>

namespace talvor::svf {

namespace {

using play::Leg;
using play::Step;

std::string_view word(StableState state) {
    return keyword(tap_state(state));
}

std::string seconds(std::chrono::nanoseconds time) {
    return fmt::format("{}.{:09} SEC", time.count() / 1'000'000'000, time.count() % 1'000'000'000);
}

void add_value(std::string_view name, const Bits& bits, std::string& text) {
    const std::string digits = bits.to_hex();
    text += fmt::format(" {} (", name);
    for (size_t at = 0; at < digits.size(); at += Writer::kDigitsInLine) {
        text += at == 0 ? "" : "\n ";
        text += std::string_view(digits).substr(at, Writer::kDigitsInLine);
    }
    text += ')';
}

} // namespace

std::optional<std::string> Writer::add(const Step& step, std::string& text) {
    switch (step.kind) {
    case Step::Kind::Nothing:
        return std::nullopt;
    case Step::Kind::Scan:
        add_scan(step.scan, text);
        return step.scan.retry == play::Retry() ? std::optional<std::string>()
                                                : "asking again for a wrong answer";
    case Step::Kind::Path:
        add_path(step, text);
        return std::nullopt;
    case Step::Kind::Run:
        add_run(step.run, text);
        return std::nullopt;
    case Step::Kind::Frequency:
        text += step.hertz ? fmt::format("FREQUENCY {} HZ;\n", *step.hertz) : "FREQUENCY;\n";
        return std::nullopt;
    case Step::Kind::Trst:
        text += step.trst == TrstLevel::Asserted   ? "TRST ON;\n"
                : step.trst == TrstLevel::Released ? "TRST OFF;\n"
                                                   : "TRST Z;\n";
        return std::nullopt;
    case Step::Kind::PulseTrst:
        text += "TRST ON;\nTRST OFF;\n";
        return std::nullopt;
    }
    return std::nullopt;
}

void Writer::set_end(ScanPath path, StableState end, std::string& text) {
    StableState& present = path == ScanPath::Ir ? end_ir_ : end_dr_;
    if (present != end) {
        present = end;
        text += fmt::format("{} {};\n", path == ScanPath::Ir ? "ENDIR" : "ENDDR", word(end));
    }
}

void Writer::add_scan(const play::ScanStep& scan, std::string& text) {
    set_end(scan.path, scan.end, text);
    const play::WholeScan whole(scan);
    text += fmt::format("{} {}", scan.path == ScanPath::Ir ? "SIR" : "SDR", scan.total_bits);
    add_value("TDI", whole.tdi, text);
    if (scan.compares()) {
        add_value("TDO", whole.tdo, text);
        add_value("MASK", whole.mask, text);
    }
    text += ";\n";
}

void Writer::add_path(const Step& step, std::string& text) {
    for (const Leg& leg : step.legs) {
        text += leg.kind == Leg::Kind::Stay
                    ? fmt::format("RUNTEST {} {} TCK;\n", word(leg.to), leg.clocks)
                    : fmt::format("STATE {};\n", word(leg.to));
    }
}

void Writer::add_run(const play::RunStep& run, std::string& text) {
    text += fmt::format("RUNTEST {}", word(run.state));
    const bool timed = run.min_time.count() != 0 || run.max_time;
    if (run.clocks != 0 || !timed) {
        text += fmt::format(" {} TCK", run.clocks);
    }
    if (timed) {
        text += " " + seconds(run.min_time);
    }
    if (run.max_time) {
        text += " MAXIMUM " + seconds(*run.max_time);
    }
    text += fmt::format(" ENDSTATE {};\n", word(run.end));
}

} // namespace talvor::svf
