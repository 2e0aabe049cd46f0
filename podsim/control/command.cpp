#include "podsim/control/command.h"

#include "podsim/control/board_command.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <span>
#include <vector>

namespace talvor::podsim::control {
namespace {

struct Grammar {
    std::string_view word;
    Verb verb;
    std::string_view off; // the argument for off, low
    std::string_view on;  // the argument for on, high
};

constexpr std::array<Grammar, 4> kSwitches{{
    {"power", Verb::Power, "off", "on"},
    {"clock", Verb::Clock, "off", "on"},
    {"emu0", Verb::Emu0, "low", "high"},
    {"emu1", Verb::Emu1, "low", "high"},
}};

struct Counted {
    std::string_view word;
    Verb verb;
    uint32_t limit;
};

constexpr std::array<Counted, 3> kCounted{{
    {"fail", Verb::Fail, UINT32_MAX},
    {"refuse", Verb::Refuse, UINT32_MAX},
    {"latency", Verb::Latency, kMaxLatencyUs},
}};

struct Fault {
    std::string_view word;
    LoopFault fault;
};

constexpr std::array<Fault, 6> kFaults{{
    {"ok", LoopFault::None},
    {"high-ff", LoopFault::HighOnes},
    {"low-ff", LoopFault::LowOnes},
    {"high-00", LoopFault::HighZeros},
    {"low-00", LoopFault::LowZeros},
    {"corrupt", LoopFault::Corrupt},
}};

std::vector<std::string_view> split(std::string_view line) {
    constexpr std::string_view kBlanks = " \t\r";
    std::vector<std::string_view> words;
    for (size_t at = line.find_first_not_of(kBlanks); at != std::string_view::npos;
         at = line.find_first_not_of(kBlanks, at)) {
        const size_t end = std::min(line.find_first_of(kBlanks, at), line.size());
        words.push_back(line.substr(at, end - at));
        at = end;
    }
    return words;
}

std::optional<uint32_t> number(std::string_view text, uint32_t limit) {
    uint32_t value{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc{} || end != text.data() + text.size() || value > limit) {
        return std::nullopt;
    }
    return value;
}

Result<Command> parse_switch(const Grammar& grammar, Words words) {
    Command command{.verb = grammar.verb};
    if (words.size() > 1 && (words[1] == grammar.on || words[1] == grammar.off)) {
        command.on = words[1] == grammar.on;
        return command;
    }
    return wrong_argument(words, fmt::format("{} or {}", grammar.off, grammar.on));
}

Result<Command> parse_counted(const Counted& grammar, Words words) {
    const auto value = words.size() > 1 ? number(words[1], grammar.limit) : std::nullopt;
    if (!value) {
        return wrong_argument(words, fmt::format("a number from 0 to {}", grammar.limit));
    }
    return Command{.verb = grammar.verb, .number = *value};
}

Result<Command> parse_loopback(Words words) {
    for (const Fault& fault : kFaults) {
        if (words.size() > 1 && words[1] == fault.word) {
            return Command{.verb = Verb::Loopback, .fault = fault.fault};
        }
    }
    return wrong_argument(words, "ok, high-ff, low-ff, high-00, low-00 or corrupt");
}

// "cable ok", "cable WIRE STATE".
Result<Command> parse_cable(Words words) {
    const auto index_of = [](const auto& names, std::string_view word) {
        return static_cast<size_t>(std::ranges::find(names, word) - names.begin());
    };
    Command command{.verb = Verb::Cable};
    if (words.size() > 1 && words[1] == kWireStateNames.front()) {
        return command;
    }
    const size_t wire = words.size() > 1 ? index_of(kWireNames, words[1]) : kWireNames.size();
    if (wire == kWireNames.size()) {
        return wrong_argument(words, "ok, tck, tms, tdi, tdo or trst");
    }
    const size_t state =
        words.size() > 2 ? index_of(kWireStateNames, words[2]) : kWireStateNames.size();
    if (state == kWireStateNames.size()) {
        return failure(fmt::format("cable {} takes ok, open, 0 or 1", words[1]));
    }
    command.wire = static_cast<Wire>(wire);
    command.wire_state = static_cast<WireState>(state);
    return command;
}

// Every verb with its arguments; how many words there are is checked by the caller.
Result<Command> parse_verb(Words words) {
    for (const Grammar& grammar : kSwitches) {
        if (words[0] == grammar.word) {
            return parse_switch(grammar, words);
        }
    }
    for (const Counted& grammar : kCounted) {
        if (words[0] == grammar.word) {
            return parse_counted(grammar, words);
        }
    }
    if (words[0] == "loopback") {
        return parse_loopback(words);
    }
    if (words[0] == "cable") {
        return parse_cable(words);
    }
    if (words[0] == "plug" || words[0] == "unplug") {
        return Command{.verb = Verb::Plug, .on = words[0] == "plug"};
    }
    if (words[0] == "status") {
        return Command{.verb = Verb::Status};
    }
    return failure(
        fmt::format("unknown command '{}': expected power, clock, emu0, emu1, fail, refuse, "
                    "latency, loopback, cable, fault, mend, core, drive, level, board, registers, "
                    "register, unplug, plug or status",
                    words[0]));
}

// How many words there are, at most.
size_t words_of(const Command& command) {
    switch (command.verb) {
    case Verb::Plug:
    case Verb::Status:
        return 1;
    case Verb::Cable:
        return command.wire ? 3 : 2;
    default:
        return 2;
    }
}

Result<Command> parse_words(Words words) {
    if (takes_board(words[0])) {
        return parse_board(words);
    }
    Command command = TRY(parse_verb(words));
    TRY(check_end(words, words_of(command)));
    return command;
}

} // namespace

Result<Command> parse(std::string_view line) {
    const std::vector<std::string_view> all = split(line);
    Words words(all);
    std::optional<uint32_t> serial;
    if (!words.empty() && words[0] == "pod") {
        serial = words.size() > 1 ? number(words[1], UINT32_MAX) : std::nullopt;
        if (!serial) {
            return wrong_argument(words, "a serial number");
        }
        words = words.subspan(2);
    }
    if (words.empty()) {
        return failure("a command is missing");
    }
    Command command = TRY(parse_words(words));
    command.serial = serial;
    return command;
}

std::string_view name_of(LoopFault fault) {
    return std::find_if(kFaults.begin(), kFaults.end(),
                        [=](const Fault& known) { return known.fault == fault; })
        ->word;
}

} // namespace talvor::podsim::control
