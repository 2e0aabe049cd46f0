// A TOML document as plain values, each with the line where it stands.
#pragma once

#include "common/result.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace talvor {

struct TomlNode;
struct TomlEntry;
using TomlArray = std::vector<TomlNode>;
using TomlTable = std::vector<TomlEntry>; // sorted by key

struct TomlNode {
    uint32_t line = 0;
    // Without a value: a date or time.
    std::variant<std::monostate, bool, int64_t, double, std::string, TomlArray, TomlTable> value;

    // The value where it is of that type, else null.
    template <typename T>
    [[nodiscard]] const T* as() const noexcept {
        return std::get_if<T>(&value);
    }
};

struct TomlEntry {
    std::string key;
    uint32_t line = 0; // of the key
    TomlNode node;
};

// The document's root, a table. An error (BadFile) names the file as `name` and the line.
[[nodiscard]] Result<TomlNode> parse_toml(std::string_view text, const std::string& name);

// No text that a person writes is longer; devices may be without end.
inline constexpr uint64_t kMostTextBytes = uint64_t{64} << 20U;
// What the file at `path` holds, whole. An error (BadFile) names it and says why it cannot be read,
// or that it holds more than `most_bytes`; no more than these are read then.
[[nodiscard]] Result<std::string> read_text_file(const std::string& path,
                                                 uint64_t most_bytes = kMostTextBytes);

// "a text", "an integer", "a table" ...: what a message calls the type of a value.
[[nodiscard]] std::string_view type_name(const TomlNode& node) noexcept;

} // namespace talvor
