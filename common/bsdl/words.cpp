#include "common/bsdl/words.h"

#include <array>

namespace talvor::bsdl {
namespace {

// Each in the order of its values.
constexpr std::array<std::string_view, 15> kPortModes{
    "in",         "out",         "buffer",        "inout",          "linkage",
    "linkage_in", "linkage_out", "linkage_inout", "linkage_buffer", "linkage_mechanical",
    "power_0",    "power_pos",   "power_neg",     "vref_in",        "vref_out"};
constexpr std::array<std::string_view, 9> kCellFunctions{"input",    "clock",   "output2",
                                                         "output3",  "control", "controlr",
                                                         "internal", "bidir",   "observe_only"};
constexpr std::array<std::string_view, 9> kDisableResults{
    "Z", "WEAK0", "WEAK1", "PULL0", "PULL1", "KEEPER", "OPEN0", "OPEN1", "OPENX"};

template <typename Value, size_t Count>
std::optional<Value> value_of(const std::array<std::string_view, Count>& words,
                              std::string_view word) noexcept {
    for (size_t i = 0; i < Count; ++i) {
        if (same_name(words[i], word)) {
            return static_cast<Value>(i);
        }
    }
    return std::nullopt;
}

} // namespace

std::string_view port_mode_word(PortMode mode) noexcept {
    return kPortModes[static_cast<size_t>(mode)];
}

std::string_view cell_function_word(CellFunction function) noexcept {
    return kCellFunctions[static_cast<size_t>(function)];
}

std::string_view disable_result_word(DisableResult result) noexcept {
    return kDisableResults[static_cast<size_t>(result)];
}

std::string_view severity_word(Severity severity) noexcept {
    return severity == Severity::Error ? "error" : "warning";
}

std::optional<PortMode> port_mode(std::string_view word) noexcept {
    return value_of<PortMode>(kPortModes, word);
}

std::optional<CellFunction> cell_function(std::string_view word) noexcept {
    return value_of<CellFunction>(kCellFunctions, word);
}

std::optional<DisableResult> disable_result(std::string_view word) noexcept {
    return value_of<DisableResult>(kDisableResults, word);
}

std::string folded(std::string_view name) {
    std::string text(name);
    for (char& c : text) {
        if (c >= 'A' && c <= 'Z') {
            c = static_cast<char>(c - 'A' + 'a');
        }
    }
    return text;
}

} // namespace talvor::bsdl
