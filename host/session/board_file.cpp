#include "host/session/board_file.h"

#include "common/toml_reader.h"

#include <fmt/format.h>

#include <cmath>
#include <filesystem>
#include <utility>

namespace talvor {
namespace {

// A real with a point or an exponent, so that it reads as one again.
std::string real_text(double value) {
    std::string text = fmt::format("{}", value);
    return text.find_first_of(".en") == std::string::npos ? text + ".0" : text;
}

// The value as the driver will read it, or nothing when it is no scalar.
std::optional<std::string> scalar_text(const TomlNode& node) {
    if (const auto* text = node.as<std::string>()) {
        return *text;
    }
    if (const auto* number = node.as<int64_t>()) {
        return fmt::format("{}", *number);
    }
    if (const auto* truth = node.as<bool>()) {
        return *truth ? "true" : "false";
    }
    if (const auto* real = node.as<double>(); real != nullptr && std::isfinite(*real)) {
        return real_text(*real);
    }
    return std::nullopt;
}

void read_driver_keys(const TomlReader& table, KeyStore& keys) {
    for (const TomlEntry& entry : table.entries()) {
        if (std::optional<std::string> text = scalar_text(entry.node)) {
            keys.set(fmt::format("{}.{}", table.path(), entry.key), std::move(*text),
                     entry.node.line);
        } else {
            table.error(entry.key, "expected a text, a number, true or false");
        }
    }
}

ClockFormula read_clock(const TomlReader& table) {
    constexpr uint64_t kMaxHertz = 100'000'000'000;
    constexpr uint64_t kMaxOffset = 1024;
    table.only({"base_hz", "predivided_hz", "offset"});
    ClockFormula clock;
    clock.base_hz = table.integer("base_hz", clock.base_hz, 1, kMaxHertz);
    clock.predivided_hz = table.integer("predivided_hz", clock.predivided_hz, 1, kMaxHertz);
    clock.offset = static_cast<uint32_t>(table.integer("offset", clock.offset, 1, kMaxOffset));
    return clock;
}

// `file` names a file from where the board file stands.
std::string beside(const std::string& board, const std::string& file) {
    return (std::filesystem::path(board).parent_path() / file).string();
}

std::string read_bsdl_path(const TomlReader& table, const std::string& board) {
    if (!table.has("bsdl")) {
        return {};
    }
    const std::string path = table.text("bsdl", "");
    if (path.empty()) {
        table.error("bsdl", "expected the path of a BSDL file, as a text");
        return {};
    }
    return beside(board, path);
}

BoardDevice read_device(const TomlReader& table, const std::string& board) {
    constexpr uint64_t kMinBits = 2; // IEEE 1149.1, 7.1.1
    constexpr uint64_t kMaxBits = 65536;
    table.only({"name", "ir", "bsdl"});
    return {table.text("name", ""),
            static_cast<uint32_t>(table.integer("ir", 0, kMinBits, kMaxBits)),
            read_bsdl_path(table, board)};
}

std::optional<std::string> read_library(const TomlReader& root) {
    if (!root.has("library")) {
        return std::nullopt;
    }
    const std::string path = root.text("library", "");
    if (path.empty()) {
        root.error("library", "expected the path of the library, as a text");
    }
    return path;
}

void read_root(const TomlReader& root, Board& board) {
    root.only({"VEXIL", "KELM", "clock", "device", "library"});
    for (const char* space : {"KELM", "VEXIL"}) {
        if (const std::optional<TomlReader> table = root.table(space)) {
            read_driver_keys(*table, board.keys);
        }
    }
    if (const std::optional<TomlReader> table = root.table("clock")) {
        board.clock = read_clock(*table);
    }
    for (const TomlReader& table : root.tables("device")) {
        board.devices.push_back(read_device(table, board.name));
    }
    board.library = read_library(root);
}

} // namespace

Result<Board> parse_board(std::string_view text, std::string name) {
    const TomlNode root = TRY(parse_toml(text, name));
    Board board;
    board.name = std::move(name);
    TomlErrors errors(board.name);
    read_root(TomlReader(root, "", errors), board);
    TRY(errors.status());
    return board;
}

Result<Board> read_board(const std::string& path) {
    const Result<std::string> text = read_text_file(path);
    if (!text) {
        return file_error(path, text.error().reason,
                          "name a board file with --board; examples/board.toml is one to start "
                          "from");
    }
    return parse_board(*text, path);
}

} // namespace talvor
