#include "tool/commands/values.h"

#include "host/board/configuration.h"

#include <fmt/core.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <cmath>

namespace talvor {
namespace {

struct StateWord {
    std::string_view word;
    StableState state;
};

// The first word of each state is the one that is printed.
constexpr std::array kStateWords{
    StateWord{"reset", StableState::Reset},     StateWord{"idle", StableState::Idle},
    StateWord{"pausedr", StableState::PauseDr}, StateWord{"pauseir", StableState::PauseIr},
    StateWord{"tlr", StableState::Reset},       StateWord{"rti", StableState::Idle},
    StateWord{"drpause", StableState::PauseDr}, StateWord{"irpause", StableState::PauseIr},
};

constexpr const char* kFrequencies = "something like 10.5MHz, 500kHz or 32768Hz";

std::string lower(std::string_view text) {
    std::string result(text);
    std::transform(result.begin(), result.end(), result.begin(),
                   [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
    return result;
}

double unit_factor(std::string_view unit) {
    if (unit == "hz") {
        return 1;
    }
    if (unit == "k" || unit == "khz") {
        return 1e3;
    }
    if (unit == "m" || unit == "mhz") {
        return 1e6;
    }
    return 0;
}

} // namespace

Result<double> parse_frequency(std::string_view text, std::string_view what) {
    const std::string word = lower(text);
    double value = 0;
    const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), value);
    std::string_view unit(end, static_cast<size_t>(word.data() + word.size() - end));
    unit.remove_prefix(std::min(unit.find_first_not_of(' '), unit.size()));
    const double factor = unit_factor(unit);
    const bool positive = error == std::errc() && std::isfinite(value) && value > 0;
    if (positive && unit.empty()) {
        return usage_error(std::string(what),
                           fmt::format("{} has no unit: expected {}", text, kFrequencies));
    }
    if (!positive || factor == 0) {
        return usage_error(std::string(what),
                           fmt::format("{} is no frequency: expected {}", text, kFrequencies));
    }
    return value * factor;
}

std::chrono::nanoseconds duration_of(double seconds) noexcept {
    constexpr double kLongestSeconds = 1e9;
    return std::chrono::duration_cast<std::chrono::nanoseconds>(
        std::chrono::duration<double>(std::min(seconds, kLongestSeconds)));
}

Result<StableState> parse_state(std::string_view text) {
    const std::string word = lower(text);
    const auto* found = std::find_if(kStateWords.begin(), kStateWords.end(),
                                     [&word](const StateWord& one) { return one.word == word; });
    if (found == kStateWords.end()) {
        return usage_error(std::string(text),
                           "is no stable state: expected reset, idle, pausedr or pauseir");
    }
    return found->state;
}

std::vector<std::string> state_words() {
    std::vector<std::string> words;
    for (const StateWord& one : kStateWords) {
        if (one.word == state_word(one.state)) {
            words.emplace_back(one.word);
        }
    }
    return words;
}

std::string_view state_word(StableState state) noexcept {
    return kStateWords[static_cast<size_t>(state)].word;
}

Result<uint32_t> parse_number(std::string_view text, uint32_t most, std::string_view what) {
    uint32_t value = 0;
    if (!parse_unsigned(text, value) || value > most) {
        return usage_error(fmt::format("{} {}", what, text),
                           fmt::format("expected a number from 0 to {}, decimal or with 0x", most));
    }
    return value;
}

Result<std::vector<uint32_t>> parse_lengths(const std::string& list, std::string_view what) {
    constexpr uint32_t kLongest = 65536;
    std::vector<uint32_t> lengths;
    std::string_view rest = list;
    do {
        const size_t comma = std::min(rest.find(','), rest.size());
        uint32_t length = 0;
        if (!parse_unsigned(rest.substr(0, comma), length) || length < 2 || length > kLongest) {
            return usage_error(
                std::string(what),
                fmt::format("{}: expected lengths from 2 to {}, as in 4,5,8", list, kLongest));
        }
        lengths.push_back(length);
        rest.remove_prefix(std::min(comma + 1, rest.size()));
    } while (!rest.empty());
    return lengths;
}

Result<Bits> parse_bits(std::string_view text, uint64_t length_bits, std::string_view what) {
    Result<Bits> bits = length_bits == 0 ? Bits::from_hex(text) : Bits::from_hex(text, length_bits);
    if (!bits) {
        Error error = std::move(bits).error();
        error.thing = fmt::format("{} {}", what, text);
        return Failure(std::move(error));
    }
    return bits;
}

std::string hex_text(const Bits& bits) {
    return "0x" + bits.to_hex();
}

} // namespace talvor
