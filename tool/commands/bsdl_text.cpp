#include "tool/commands/bsdl_text.h"

#include "common/bsdl/words.h"
#include "common/text.h"
#include "host/chain/descriptions.h"
#include "host/clock/test_clock.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <map>
#include <optional>
#include <vector>

namespace talvor {
namespace {

using namespace bsdl;

// "20 in, 3 out": how many there are of each word, in the order of the values.
template <typename Value, typename List, typename ValueOf, typename Word>
std::string counts_text(const List& list, ValueOf value_of, Word word) {
    std::map<Value, size_t> counts;
    for (const auto& one : list) {
        ++counts[value_of(one)];
    }
    std::vector<std::string> texts;
    for (const auto& [value, count] : counts) {
        texts.push_back(fmt::format("{} {}", count, word(value)));
    }
    return fmt::format("{}", fmt::join(texts, ", "));
}

std::string signals_text(const Device& device) {
    return fmt::format(
        "{}: {}", device.signals.size(),
        counts_text<PortMode>(
            device.signals, [](const Signal& signal) { return signal.mode; }, port_mode_word));
}

// "TCK 70": a signal and its pin.
std::string with_pin(const Device& device, size_t index) {
    const Signal& signal = device.signals[index];
    return signal.pin.empty() ? signal.name : fmt::format("{} {}", signal.name, signal.pin);
}

std::string tap_text(const Device& device) {
    const TapSignals& tap = device.tap;
    std::vector<std::string> texts;
    for (const std::optional<size_t>& signal : {tap.tck, tap.tms, tap.tdi, tap.tdo, tap.trst}) {
        if (signal) {
            texts.push_back(with_pin(device, *signal));
        }
    }
    std::string text = fmt::format("{}", fmt::join(texts, ", "));
    if (tap.max_tck_hz > 0) {
        text += fmt::format("; up to {}, stops {}", frequency_text(tap.max_tck_hz),
                            tap.tck_stops_both ? "low and high" : "low");
    }
    return text;
}

std::string compliance_text(const Device& device) {
    std::vector<std::string> names;
    for (const size_t signal : device.compliance.signals) {
        names.push_back(with_pin(device, signal));
    }
    std::vector<std::string> patterns;
    for (const Pattern& pattern : device.compliance.patterns) {
        patterns.push_back(pattern.text);
    }
    return fmt::format("{} must be {}", fmt::join(names, ", "), fmt::join(patterns, " or "));
}

std::string codes_text(const std::vector<Pattern>& codes) {
    std::vector<std::string> texts;
    for (const Pattern& code : codes) {
        texts.push_back(code_text(code));
    }
    return fmt::format("{}", fmt::join(texts, " or "));
}

std::string boundary_text(const Device& device) {
    return fmt::format(
        "{}: {}", count_text(device.boundary_bits, "bit"),
        counts_text<CellFunction>(
            device.cells, [](const Cell& cell) { return cell.function; }, cell_function_word));
}

TextTable fact_table(const Device& device) {
    TextTable table({});
    const auto add = [&table](const char* name, const std::string& text) {
        if (!text.empty()) {
            table.add({name, text});
        }
    };
    add("standard", device.edition != 0 ? fmt::format("IEEE 1149.1-{}", device.edition) : "");
    add("package", device.packages.size() > 1
                       ? fmt::format("{}, of {}", device.package, fmt::join(device.packages, ", "))
                       : device.package);
    add("signals", signals_text(device));
    add("test port", tap_text(device));
    add("compliance", device.compliance.signals.empty() ? "" : compliance_text(device));
    add("IDCODE", codes_text(device.idcodes));
    add("USERCODE", codes_text(device.usercodes));
    add("instruction", fmt::format("{}, captures {}", count_text(device.instruction_bits, "bit"),
                                   device.instruction_capture.text));
    add("boundary", device.cells.empty() ? "" : boundary_text(device));
    add("pairs", device.pairs.empty() ? "" : fmt::format("{}", device.pairs.size()));
    return table;
}

const RegisterAccess* register_of(const Device& device, const Instruction& instruction) {
    for (const RegisterAccess& access : device.registers) {
        for (const std::string& name : access.instructions) {
            if (same_name(name, instruction.name)) {
                return &access;
            }
        }
    }
    return nullptr;
}

std::string opcodes_text(const Instruction& instruction) {
    std::vector<std::string> opcodes;
    for (const Pattern& opcode : instruction.opcodes) {
        opcodes.push_back(opcode.text);
    }
    return fmt::format("{}", fmt::join(opcodes, " "));
}

TextTable instruction_table(const Device& device) {
    TextTable table({"instruction", "opcode", "register", "bits"});
    for (const Instruction& instruction : device.instructions) {
        const RegisterAccess* access = register_of(device, instruction);
        table.add({instruction.name, opcodes_text(instruction),
                   instruction.is_private ? "private"
                   : access != nullptr    ? access->name
                                          : "-",
                   access != nullptr && access->bits ? fmt::format("{}", *access->bits) : "-"});
    }
    return table;
}

// ---- the model --------------------------------------------------------------------------------

Json place_json(const Place& place) {
    return place.line == 0 ? Json(nullptr) : Json{{"line", place.line}, {"column", place.column}};
}

template <typename List, typename Make>
Json array_of(const List& list, Make make) {
    Json array = Json::array();
    for (const auto& one : list) {
        array.push_back(make(one));
    }
    return array;
}

Json patterns_json(const std::vector<Pattern>& patterns) {
    return array_of(patterns, [](const Pattern& pattern) { return Json(pattern.text); });
}

// The name of a signal, or null.
Json signal_name(const Device& device, const std::optional<size_t>& signal) {
    return signal ? Json(device.signals[*signal].name) : Json(nullptr);
}

Json signal_json(const Signal& signal) {
    return {{"name", signal.name},
            {"port", signal.port},
            {"index", signal.index ? Json(*signal.index) : Json(nullptr)},
            {"mode", std::string(port_mode_word(signal.mode))},
            {"pin", signal.pin.empty() ? Json(nullptr) : Json(signal.pin)},
            {"place", place_json(signal.place)}};
}

Json tap_json(const Device& device) {
    const TapSignals& tap = device.tap;
    return {{"tck", signal_name(device, tap.tck)},
            {"tms", signal_name(device, tap.tms)},
            {"tdi", signal_name(device, tap.tdi)},
            {"tdo", signal_name(device, tap.tdo)},
            {"trst", signal_name(device, tap.trst)},
            {"max_tck_hz", tap.max_tck_hz > 0 ? Json(tap.max_tck_hz) : Json(nullptr)},
            {"tck_stops_both", tap.tck_stops_both}};
}

Json compliance_json(const Device& device) {
    return {{"signals", array_of(device.compliance.signals,
                                 [&device](size_t signal) { return signal_name(device, signal); })},
            {"patterns", patterns_json(device.compliance.patterns)}};
}

Json instruction_json(const Instruction& instruction) {
    return {{"name", instruction.name},
            {"opcodes", patterns_json(instruction.opcodes)},
            {"private", instruction.is_private},
            {"place", place_json(instruction.place)}};
}

Json register_json(const RegisterAccess& access) {
    Json instructions = Json::array();
    for (size_t i = 0; i < access.instructions.size(); ++i) {
        const std::string& capture = access.captures[i].text;
        instructions.push_back(Json{{"name", access.instructions[i]},
                                    {"captures", capture.empty() ? Json(nullptr) : Json(capture)}});
    }
    return {{"name", access.name},
            {"bits", access.bits ? Json(*access.bits) : Json(nullptr)},
            {"instructions", std::move(instructions)},
            {"place", place_json(access.place)}};
}

Json driver_json(const Cell& cell) {
    if (!cell.control) {
        return nullptr;
    }
    return {{"cell", *cell.control},
            {"disable_value", std::string(1, cell.disable_value)},
            {"result", std::string(disable_result_word(cell.disable_result))}};
}

Json cell_json(const Device& device, const Cell& cell) {
    return {{"number", cell.number},
            {"type", cell.type},
            {"signal", signal_name(device, cell.signal)},
            {"function", std::string(cell_function_word(cell.function))},
            {"safe", std::string(1, cell.safe)},
            {"control", driver_json(cell)},
            {"open", cell.open_result ? Json(std::string(disable_result_word(*cell.open_result)))
                                      : Json(nullptr)},
            {"place", place_json(cell.place)}};
}

Json pair_json(const Device& device, const SignalPair& pair) {
    return {{"representative", signal_name(device, pair.representative)},
            {"associated", signal_name(device, pair.associated)},
            {"kind", pair.is_current ? "current" : "voltage"}};
}

Json other_json(const OtherAttribute& other) {
    return {{"name", other.name}, {"value", other.value}, {"place", place_json(other.place)}};
}

Json finding_json(const Finding& finding) {
    return {{"severity", std::string(severity_word(finding.severity))},
            {"text", finding.text},
            {"place", place_json(finding.place)}};
}

void add_instructions(Json& json, const Device& device) {
    json["instruction_bits"] = device.instruction_bits;
    json["instruction_capture"] = device.instruction_capture.text;
    json["instructions"] = array_of(device.instructions, instruction_json);
    json["idcodes"] = patterns_json(device.idcodes);
    json["usercodes"] = patterns_json(device.usercodes);
    json["registers"] = array_of(device.registers, register_json);
}

} // namespace

std::string finding_text(const std::string& file, const Finding& finding) {
    const std::string place =
        finding.place.line == 0
            ? file
            : fmt::format("{}:{}:{}", file, finding.place.line, finding.place.column);
    return fmt::format("{}: {}: {}", place, severity_word(finding.severity), finding.text);
}

void print_summary(const Output& out, const std::string& file, const Device& device) {
    out.line("{}", out.tone(Tone::Strong, fmt::format("{}, {}", device.name, file)));
    out.table(fact_table(device));
    out.table(instruction_table(device));
}

Json to_json(const std::string& file, const Description& description) {
    const Device& device = description.device;
    Json json{
        {"file", file},
        {"name", device.name},
        {"edition", device.edition != 0 ? Json(device.edition) : Json(nullptr)},
        {"package", device.package.empty() ? Json(nullptr) : Json(device.package)},
        {"packages", array_of(device.packages, [](const std::string& name) { return Json(name); })},
        {"usable", description.usable()},
        {"findings", array_of(description.findings, finding_json)},
        {"signals", array_of(device.signals, signal_json)},
        {"tap", tap_json(device)},
        {"compliance", compliance_json(device)},
        {"pairs", array_of(device.pairs,
                           [&device](const SignalPair& pair) { return pair_json(device, pair); })}};
    add_instructions(json, device);
    json["boundary_bits"] = device.boundary_bits;
    json["cells"] =
        array_of(device.cells, [&device](const Cell& cell) { return cell_json(device, cell); });
    json["others"] = array_of(device.others, other_json);
    return json;
}

} // namespace talvor
