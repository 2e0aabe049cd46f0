#include "session/board_file.h"

#include <array>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <limits>
#include <sstream>
#include <utility>

#include <fmt/format.h>
#include <toml++/toml.h>

namespace talvor {
namespace {

constexpr std::array<std::string_view, 2> kDriverTables{"VEXIL", "KELM"};

// Reads one file; the first error ends it.
class BoardReader {
public:
    explicit BoardReader(Board& board) : board_(board) {}

    Status read(const toml::table& root);

private:
    Status driver_table(std::string_view space, const toml::table& table);
    Status clock(const toml::table& table);
    Status devices(const toml::array& list);
    Status device(const toml::table& table);
    Status library(const toml::node& node);
    // A whole number from `least` to `most`.
    Status number(std::string_view key, const toml::node& node, uint64_t least, uint64_t most,
                  uint64_t& value) const;

    [[nodiscard]] Error wrong(const toml::node& node, std::string_view key,
                              std::string_view expected) const {
        return Error{ErrorKind::BadFile, 0,
                     fmt::format("{}:{}: {}", board_.name, node.source().begin.line, key),
                     fmt::format("expected {}", expected), ""};
    }

    Board& board_;
};

// A real with a point or an exponent, so that it reads as one again.
std::string real_text(double value) {
    std::string text = fmt::format("{}", value);
    return text.find_first_of(".en") == std::string::npos ? text + ".0" : text;
}

// The value as the driver will read it, or nothing when it is no scalar.
std::optional<std::string> scalar_text(const toml::node& node) {
    if (const auto text = node.value_exact<std::string>()) {
        return *text;
    }
    if (const auto number = node.value_exact<int64_t>()) {
        return fmt::format("{}", *number);
    }
    if (const auto truth = node.value_exact<bool>()) {
        return *truth ? "true" : "false";
    }
    if (const auto real = node.value_exact<double>(); real && std::isfinite(*real)) {
        return real_text(*real);
    }
    return std::nullopt;
}

Status BoardReader::read(const toml::table& root) {
    for (const auto& [key, node] : root) {
        const std::string_view name = key.str();
        Status status;
        if (name == kDriverTables[0] || name == kDriverTables[1]) {
            status = node.is_table() ? driver_table(name, *node.as_table())
                                     : Status(wrong(node, name, "a table"));
        } else if (name == "clock") {
            status =
                node.is_table() ? clock(*node.as_table()) : Status(wrong(node, name, "a table"));
        } else if (name == "device") {
            status = node.is_array_of_tables() ? devices(*node.as_array())
                                               : Status(wrong(node, name, "tables, [[device]]"));
        } else if (name == "library") {
            status = library(node);
        } else {
            status = wrong(node, name, "one of VEXIL, KELM, clock, device, library");
        }
        if (!status) {
            return status;
        }
    }
    return {};
}

Status BoardReader::driver_table(std::string_view space, const toml::table& table) {
    for (const auto& [key, node] : table) {
        const std::string name = fmt::format("{}.{}", space, key.str());
        std::optional<std::string> text = scalar_text(node);
        if (!text) {
            return wrong(node, name, "a text, a number, true or false");
        }
        board_.keys.set(name, std::move(*text), node.source().begin.line);
    }
    return {};
}

Status BoardReader::number(std::string_view key, const toml::node& node, uint64_t least,
                           uint64_t most, uint64_t& value) const {
    const auto given = node.value_exact<int64_t>();
    if (!given || *given < 0 || static_cast<uint64_t>(*given) < least ||
        static_cast<uint64_t>(*given) > most) {
        return wrong(node, key, fmt::format("a whole number from {} to {}", least, most));
    }
    value = static_cast<uint64_t>(*given);
    return {};
}

Status BoardReader::clock(const toml::table& table) {
    constexpr uint64_t kMaxHertz = 100'000'000'000;
    constexpr uint64_t kMaxOffset = 1024;
    for (const auto& [key, node] : table) {
        const std::string name = fmt::format("clock.{}", key.str());
        Status status;
        if (key.str() == "base_hz") {
            status = number(name, node, 1, kMaxHertz, board_.clock.base_hz);
        } else if (key.str() == "predivided_hz") {
            status = number(name, node, 1, kMaxHertz, board_.clock.predivided_hz);
        } else if (key.str() == "offset") {
            uint64_t offset = board_.clock.offset;
            status = number(name, node, 1, kMaxOffset, offset);
            board_.clock.offset = static_cast<uint32_t>(offset);
        } else {
            status = wrong(node, name, "one of base_hz, predivided_hz, offset");
        }
        if (!status) {
            return status;
        }
    }
    return {};
}

Status BoardReader::devices(const toml::array& list) {
    for (const toml::node& node : list) {
        if (Status status = device(*node.as_table()); !status) {
            return status;
        }
    }
    return {};
}

Status BoardReader::device(const toml::table& table) {
    constexpr uint64_t kMinBits = 2; // IEEE 1149.1, 7.1.1
    constexpr uint64_t kMaxBits = 65536;
    BoardDevice device;
    for (const auto& [key, node] : table) {
        const std::string name = fmt::format("device.{}", key.str());
        if (key.str() == "name") {
            const auto text = node.value_exact<std::string>();
            if (!text) {
                return wrong(node, name, "a text");
            }
            device.name = *text;
        } else if (key.str() == "ir") {
            uint64_t bits = 0;
            if (Status status = number(name, node, kMinBits, kMaxBits, bits); !status) {
                return status;
            }
            device.instruction_bits = static_cast<uint32_t>(bits);
        } else {
            return wrong(node, name, "one of name, ir");
        }
    }
    board_.devices.push_back(std::move(device));
    return {};
}

Status BoardReader::library(const toml::node& node) {
    const auto path = node.value_exact<std::string>();
    if (!path || path->empty()) {
        return wrong(node, "library", "the path of the library, as a text");
    }
    board_.library = *path;
    return {};
}

} // namespace

Result<Board> parse_board(std::string_view text, std::string name) {
    Board board;
    board.name = std::move(name);
    try {
        const toml::table root = toml::parse(text);
        if (Status status = BoardReader(board).read(root); !status) {
            return std::move(status).error();
        }
    } catch (const toml::parse_error& error) {
        return Error{ErrorKind::BadFile, 0,
                     fmt::format("{}:{}", board.name, error.source().begin.line),
                     fmt::format("not TOML: {}", error.description()), ""};
    }
    return board;
}

Result<Board> read_board(const std::string& path) {
    const auto unreadable = [&path](int reason) {
        return Error{ErrorKind::BadFile, 0, path,
                     fmt::format("cannot be read: {}", std::strerror(reason)),
                     "name a board file with --board; examples/board.toml is one to start from"};
    };
    std::error_code error;
    if (std::filesystem::is_directory(path, error)) {
        return unreadable(EISDIR);
    }
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        return unreadable(errno);
    }
    std::ostringstream text;
    text << file.rdbuf();
    if (file.bad()) {
        return unreadable(EIO);
    }
    return parse_board(text.str(), path);
}

} // namespace talvor
