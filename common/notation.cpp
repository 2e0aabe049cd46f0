#include "common/notation.h"

#include "shm_structs.h"

#include <algorithm>
#include <array>
#include <charconv>

namespace talvor::notation {
namespace {

constexpr uint16_t port_bits = SHM_WORD_WRITE - 1;

struct ControlWord {
    uint16_t word;
    Kind kind;
    std::string_view name;
};

constexpr std::array<ControlWord, 8> control_words{{
    {SHM_WORD_RESERVED, Kind::Reserved, "reserved"},
    {SHM_MARKER_OPEN, Kind::MarkerOpen, "marker"},
    {SHM_MARKER_FULL, Kind::MarkerFull, "marker full"},
    {SHM_WAIT_WRITE_ONE, Kind::WaitSendOne, "wait send"},
    {SHM_WAIT_WRITE_MANY, Kind::WaitSendMany, "wait send many"},
    {SHM_WAIT_READ_ONE, Kind::WaitReceiveOne, "wait recv"},
    {SHM_WAIT_READ_MANY, Kind::WaitReceiveMany, "wait recv many"},
    {SHM_WAIT_DONE, Kind::WaitDone, "wait done"},
}};

void append_hex(std::string& out, uint16_t value) {
    constexpr std::string_view digits = "0123456789abcdef";
    for (int shift = 12; shift >= 0; shift -= 4) {
        out += digits[(value >> shift) & 0xFU];
    }
}

std::vector<std::string_view> split(std::string_view line) {
    std::vector<std::string_view> parts;
    constexpr std::string_view blanks = " \t\r";
    for (size_t at = line.find_first_not_of(blanks); at != std::string_view::npos;
         at = line.find_first_not_of(blanks, at)) {
        const size_t end = std::min(line.find_first_of(blanks, at), line.size());
        parts.push_back(line.substr(at, end - at));
        at = end;
    }
    return parts;
}

std::optional<uint16_t> number(std::string_view digits, int base) {
    uint16_t value{};
    const auto [end, error] =
        std::from_chars(digits.data(), digits.data() + digits.size(), value, base);
    if (error != std::errc{} || end != digits.data() + digits.size()) {
        return std::nullopt;
    }
    return value;
}

std::optional<Item> parse_access(std::span<const std::string_view> parts) {
    const auto port = number(parts[1], 10);
    if (!port || *port > port_bits) {
        return std::nullopt;
    }
    if (parts[0] == "read" && parts.size() == 2) {
        return Item{Kind::Read, *port, 0};
    }
    if (parts[0] != "write" || parts.size() != 3) {
        return std::nullopt;
    }
    if (parts[2] == "?") {
        return Item{Kind::WriteCut, *port, 0};
    }
    const auto value = number(parts[2], 16);
    return value ? std::optional(Item{Kind::Write, *port, *value}) : std::nullopt;
}

std::optional<Item> parse_control(std::span<const std::string_view> parts) {
    std::string name;
    for (const std::string_view part : parts) {
        name.append(name.empty() ? "" : " ").append(part);
    }
    for (const ControlWord& control : control_words) {
        if (control.name == name) {
            return Item{control.kind, 0, 0};
        }
    }
    return std::nullopt;
}

void append_words(std::vector<uint16_t>& words, const Item& item) {
    switch (item.kind) {
    case Kind::Read:
        words.push_back(item.port);
        return;
    case Kind::Write:
        words.push_back(static_cast<uint16_t>(item.port | SHM_WORD_WRITE));
        words.push_back(item.value);
        return;
    case Kind::WriteCut:
        words.push_back(static_cast<uint16_t>(item.port | SHM_WORD_WRITE));
        return;
    case Kind::Unknown:
        words.push_back(item.value);
        return;
    default:
        break;
    }
    for (const ControlWord& control : control_words) {
        if (control.kind == item.kind) {
            words.push_back(control.word);
            return;
        }
    }
}

} // namespace

size_t length_words(const Item& item) {
    return item.kind == Kind::Write ? 2 : 1;
}

Item item_at(std::span<const uint16_t> words, size_t index) {
    const uint16_t word = words[index];
    if ((word & SHM_WORD_CONTROL) != 0) {
        for (const ControlWord& control : control_words) {
            if (control.word == word) {
                return {control.kind, 0, 0};
            }
        }
        return {Kind::Unknown, 0, word};
    }
    const auto port = static_cast<uint16_t>(word & port_bits);
    if ((word & SHM_WORD_WRITE) == 0) {
        return {Kind::Read, port, 0};
    }
    if (index + 1 >= words.size()) {
        return {Kind::WriteCut, port, 0};
    }
    return {Kind::Write, port, words[index + 1]};
}

std::vector<Item> items(std::span<const uint16_t> words) {
    std::vector<Item> found;
    for (size_t index = 0; index < words.size();) {
        found.push_back(item_at(words, index));
        index += length_words(found.back());
    }
    return found;
}

std::string text(const Item& item) {
    std::string out;
    switch (item.kind) {
    case Kind::Read:
        return out.append("read ").append(std::to_string(item.port));
    case Kind::WriteCut:
        return out.append("write ").append(std::to_string(item.port)).append(" ?");
    case Kind::Write:
        out.append("write ").append(std::to_string(item.port)).append(" ");
        append_hex(out, item.value);
        return out;
    case Kind::Unknown:
        out.append("control ");
        append_hex(out, item.value);
        return out;
    default:
        break;
    }
    for (const ControlWord& control : control_words) {
        if (control.kind == item.kind) {
            out.append(control.name);
        }
    }
    return out;
}

std::vector<std::string> lines(std::span<const uint16_t> words) {
    std::vector<std::string> out;
    for (const Item& item : items(words)) {
        out.push_back(text(item));
    }
    return out;
}

std::string text(std::span<const uint16_t> words) {
    std::string out;
    for (const std::string& line : lines(words)) {
        out.append(line).append("\n");
    }
    return out;
}

std::optional<Item> parse_line(std::string_view line) {
    const std::vector<std::string_view> parts = split(line);
    if (parts.empty()) {
        return std::nullopt;
    }
    if (parts[0] == "control" && parts.size() == 2) {
        const auto word = number(parts[1], 16);
        const bool control = word && (*word & SHM_WORD_CONTROL) != 0;
        return control ? std::optional(item_at(std::span(&*word, 1), 0)) : std::nullopt;
    }
    if (parts.size() >= 2 && (parts[0] == "read" || parts[0] == "write")) {
        return parse_access(parts);
    }
    return parse_control(parts);
}

std::optional<std::vector<uint16_t>> parse(std::string_view text) {
    std::vector<uint16_t> words;
    while (!text.empty()) {
        const size_t end = std::min(text.find_first_of("\n;"), text.size());
        const std::string_view line = text.substr(0, end);
        text.remove_prefix(std::min(end + 1, text.size()));
        if (split(line).empty()) {
            continue;
        }
        const auto item = parse_line(line);
        if (!item) {
            return std::nullopt;
        }
        append_words(words, *item);
    }
    return words;
}

} // namespace talvor::notation
