#include "common/toml.h"

#include <fmt/format.h>
#include <toml++/toml.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace talvor {
namespace {

TomlNode copy(const toml::node& node);

TomlTable copy_table(const toml::table& table) {
    TomlTable copied;
    for (const auto& [key, node] : table) {
        copied.push_back({std::string(key.str()), key.source().begin.line, copy(node)});
    }
    return copied;
}

TomlArray copy_array(const toml::array& array) {
    TomlArray copied;
    for (const toml::node& node : array) {
        copied.push_back(copy(node));
    }
    return copied;
}

TomlNode copy(const toml::node& node) {
    TomlNode copied{node.source().begin.line, {}};
    if (const toml::table* table = node.as_table()) {
        copied.value = copy_table(*table);
    } else if (const toml::array* array = node.as_array()) {
        copied.value = copy_array(*array);
    } else if (const auto* text = node.as_string()) {
        copied.value = text->get();
    } else if (const auto* integer = node.as_integer()) {
        copied.value = integer->get();
    } else if (const auto* real = node.as_floating_point()) {
        copied.value = real->get();
    } else if (const auto* truth = node.as_boolean()) {
        copied.value = truth->get();
    }
    return copied;
}

} // namespace

Result<TomlNode> parse_toml(std::string_view text, const std::string& name) {
    try {
        return copy(toml::parse(text));
    } catch (const toml::parse_error& error) {
        return file_error(fmt::format("{}:{}", name, error.source().begin.line),
                          fmt::format("not TOML: {}", error.description()));
    }
}

namespace {

// One byte more than `most` of them, where there are so many.
Result<std::string> read_stream(std::istream& file, const std::string& path, uint64_t most_bytes) {
    constexpr size_t kPieceBytes = size_t{1} << 16U;
    std::string text;
    std::string piece(kPieceBytes, '\0');
    while (file.good() && text.size() <= most_bytes) {
        file.read(piece.data(), kPieceBytes);
        text.append(piece, 0, static_cast<size_t>(file.gcount()));
    }
    if (file.bad()) {
        return file_error(path, fmt::format("cannot be read: {}", std::strerror(EIO)));
    }
    if (text.size() > most_bytes) {
        return file_error(path, fmt::format("is larger than {} bytes", most_bytes));
    }
    return text;
}

} // namespace

Result<std::string> read_text_file(const std::string& path, uint64_t most_bytes) {
    const auto unreadable = [&path](int reason) {
        return file_error(path, fmt::format("cannot be read: {}", std::strerror(reason)));
    };
    std::error_code error;
    if (std::filesystem::is_directory(path, error)) {
        return unreadable(EISDIR);
    }
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        return unreadable(errno);
    }
    return read_stream(file, path, most_bytes);
}

std::string_view type_name(const TomlNode& node) noexcept {
    // In the order of the variant.
    constexpr std::array<std::string_view, 7> kNames{
        "a date or time", "true or false", "an integer", "a real number",
        "a text",         "an array",      "a table"};
    return kNames[node.value.index()];
}

} // namespace talvor
