#include "podsim/control/board_command.h"

#include "common/wide_value.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <optional>

namespace talvor::podsim::control {
namespace {

using Kind = BoardFault::Kind;
using Model = BoardFault::Model;

struct BoardWord {
    std::string_view word;
    Verb verb;
};
constexpr std::array<BoardWord, 8> kWords{{
    {"fault", Verb::Fault},
    {"mend", Verb::Mend},
    {"core", Verb::Core},
    {"drive", Verb::Drive},
    {"level", Verb::Level},
    {"board", Verb::Board},
    {"registers", Verb::Registers},
    {"register", Verb::Register},
}};

std::optional<bool> level_of(std::string_view word) {
    return word == "0" ? std::optional(false) : word == "1" ? std::optional(true) : std::nullopt;
}

// The kind of a fault, and how many places it has.
struct Shape {
    Kind kind;
    size_t least;
    size_t most;
    const char* places; // what they are, for messages
};
constexpr size_t kAny = SIZE_MAX;
constexpr std::array<Shape, 5> kShapes{{
    {Kind::Open, 1, 1, "a net or a pin"},
    {Kind::Short, 2, kAny, "two nets or more"},
    {Kind::Stuck, 1, 1, "a net or a pin, and 0 or 1"},
    {Kind::Dead, 1, 1, "a device, and 0 or 1 where TDO does not stay high"},
    {Kind::Swapped, 2, 2, "two devices"},
}};

const Shape* shape_of(std::string_view word) {
    const auto shape =
        std::ranges::find_if(kShapes, [=](const Shape& one) { return word == name_of(one.kind); });
    return shape == kShapes.end() ? nullptr : &*shape;
}

std::optional<Model> model_of(std::string_view word) {
    for (const Model model : {Model::WiredAnd, Model::WiredOr, Model::Strong}) {
        if (word == name_of(model)) {
            return model;
        }
    }
    return std::nullopt;
}

// Takes the word that says how bad it is off the end; whether there was one.
bool take_last(BoardFault& fault, Words& words) {
    if (words.empty()) {
        return false;
    }
    const auto model = fault.kind == Kind::Short ? model_of(words.back()) : std::nullopt;
    const bool levelled = fault.kind == Kind::Stuck || fault.kind == Kind::Dead;
    const auto level = levelled && words.size() > 1 ? level_of(words.back()) : std::nullopt;
    fault.model = model.value_or(fault.model);
    fault.level = level.value_or(fault.level);
    if (model || level) {
        words = words.first(words.size() - 1);
    }
    return model || level;
}

// "fault KIND PLACES...", "mend KIND PLACES...", "mend all".
Result<Command> parse_fault(Verb verb, Words words) {
    if (verb == Verb::Mend && words.size() > 1 && words[1] == "all") {
        TRY(check_end(words, 2));
        return Command{.verb = Verb::MendAll};
    }
    const Shape* shape = words.size() > 1 ? shape_of(words[1]) : nullptr;
    if (shape == nullptr) {
        return wrong_argument(words, verb == Verb::Mend ? "all, open, short, stuck, dead or swapped"
                                                        : "open, short, stuck, dead or swapped");
    }
    Command command{.verb = verb, .board_fault = {.kind = shape->kind, .places = {}}};
    Words places = words.subspan(2);
    const bool complete =
        take_last(command.board_fault, places) || shape->kind != Kind::Stuck || verb == Verb::Mend;
    if (places.size() < shape->least || !complete) {
        return failure(fmt::format("{} {} takes {}", words[0], words[1], shape->places));
    }
    if (places.size() > shape->most) {
        return failure(
            fmt::format("'{}' is too much after {} {}", places[shape->most], words[0], words[1]));
    }
    command.board_fault.places.assign(places.begin(), places.end());
    return command;
}

// "core PIN 0|1|Z", "drive NET 0|1|Z".
Result<Command> parse_level(Verb verb, Words words) {
    Command command{.verb = verb};
    if (words.size() > 2) {
        command.place = words[1];
        const auto level = level_of(words[2]);
        if (level || words[2] == "Z" || words[2] == "z") {
            command.core = !level ? Core::Off : *level ? Core::High : Core::Low;
            TRY(check_end(words, 3));
            return command;
        }
    }
    return failure(
        fmt::format("{} takes {} and 0, 1 or Z", words[0], verb == Verb::Core ? "a pin" : "a net"));
}

// A number in decimal digits, or one of any length in hexadecimal ones.
std::optional<std::vector<uint64_t>> value_of(std::string_view text) {
    if (text.starts_with("0x")) {
        return wide_value(text.substr(2));
    }
    uint64_t small = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, small);
    return error == std::errc{} && stop == end ? std::optional(std::vector{small}) : std::nullopt;
}

// "register DEVICE NAME VALUE".
Result<Command> parse_register(Words words) {
    const auto value = words.size() > 3 ? value_of(words[3]) : std::nullopt;
    if (!value) {
        return failure("register takes a device, a register and a number, as in 12 or 0xC");
    }
    TRY(check_end(words, 4));
    return Command{.verb = Verb::Register,
                   .place = std::string(words[1]),
                   .name = std::string(words[2]),
                   .value = *value};
}

} // namespace

bool takes_board(std::string_view word) {
    return std::ranges::find(kWords, word, &BoardWord::word) != kWords.end();
}

Result<Command> parse_board(Words words) {
    const Verb verb = std::ranges::find(kWords, words[0], &BoardWord::word)->verb;
    switch (verb) {
    case Verb::Fault:
    case Verb::Mend:
        return parse_fault(verb, words);
    case Verb::Core:
    case Verb::Drive:
        return parse_level(verb, words);
    case Verb::Register:
        return parse_register(words);
    case Verb::Level:
        if (words.size() < 2) {
            return wrong_argument(words, "a net or a pin");
        }
        TRY(check_end(words, 2));
        return Command{.verb = verb, .place = std::string(words[1])};
    default:
        TRY(check_end(words, 1));
        return Command{.verb = verb};
    }
}

Failure wrong_argument(Words words, const std::string& expected) {
    const std::string found =
        words.size() > 1 ? fmt::format("not '{}'", words[1]) : "and nothing came";
    return failure(fmt::format("{} takes {}, {}", words[0], expected, found));
}

Status check_end(Words words, size_t taken) {
    if (words.size() > taken) {
        return failure(fmt::format("'{}' is too much after {}", words[taken], words[0]));
    }
    return {};
}

} // namespace talvor::podsim::control
