#include "common/toml_reader.h"

#include "common/wide_value.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>

namespace talvor {
namespace {

constexpr uint64_t kWordBits = 64;

std::string in_range(uint64_t least, uint64_t most) {
    return fmt::format("an integer from {} to {}", least, most);
}

} // namespace

void TomlErrors::add(uint32_t line, const std::string& key, const std::string& text) {
    if (!first_) {
        first_ =
            Error{ErrorKind::BadFile, 0,
                  fmt::format("{}:{}{}{}", file_, line, key.empty() ? "" : ": ", key), text, ""};
    }
}

Status TomlErrors::status() const {
    return first_ ? Status(Failure(*first_)) : Status();
}

const TomlNode* TomlReader::find(std::string_view key) const noexcept {
    const TomlTable& table = entries();
    const auto entry = std::find_if(table.begin(), table.end(),
                                    [key](const TomlEntry& one) { return one.key == key; });
    return entry == table.end() ? nullptr : &entry->node;
}

std::string TomlReader::path_of(std::string_view key) const {
    return path_.empty() ? std::string(key) : fmt::format("{}.{}", path_, key);
}

void TomlReader::error(std::string_view key, const std::string& text) const {
    const TomlNode* node = find(key);
    const TomlNode& place = node != nullptr ? *node : *node_;
    // The whole file has no place of its own: its first line stands for it.
    errors_->add(std::max<uint32_t>(place.line, 1), path_of(key), text);
}

template <typename T>
const T* TomlReader::typed(std::string_view key, const std::string& expected) const {
    const TomlNode& node = *find(key);
    const T* value = node.as<T>();
    if (value == nullptr) {
        error(key, fmt::format("expected {}, found {}", expected, type_name(node)));
    }
    return value;
}

uint64_t TomlReader::integer(std::string_view key, uint64_t fallback, uint64_t least,
                             uint64_t most) const {
    const int64_t* found = has(key) ? typed<int64_t>(key, in_range(least, most)) : nullptr;
    if (found == nullptr) {
        return fallback;
    }
    if (*found < 0 || static_cast<uint64_t>(*found) < least ||
        static_cast<uint64_t>(*found) > most) {
        error(key, fmt::format("expected {}, found {}", in_range(least, most), *found));
        return fallback;
    }
    return static_cast<uint64_t>(*found);
}

bool TomlReader::boolean(std::string_view key, bool fallback) const {
    const bool* found = has(key) ? typed<bool>(key, "true or false") : nullptr;
    return found == nullptr ? fallback : *found;
}

std::string TomlReader::text(std::string_view key, std::string fallback) const {
    const std::string* found = has(key) ? typed<std::string>(key, "a text") : nullptr;
    return found == nullptr ? fallback : *found;
}

std::vector<std::string> TomlReader::texts(std::string_view key) const {
    const std::string expected = "an array of texts";
    const TomlArray* array = has(key) ? typed<TomlArray>(key, expected) : nullptr;
    std::vector<std::string> found;
    if (array == nullptr) {
        return found;
    }
    for (const TomlNode& element : *array) {
        const std::string* one = element.as<std::string>();
        if (one == nullptr) {
            error(key, fmt::format("expected {}, found {}", expected, type_name(element)));
            return {};
        }
        found.push_back(*one);
    }
    return found;
}

std::vector<uint64_t> TomlReader::integers(std::string_view key, uint64_t most) const {
    const TomlNode* node = find(key);
    if (node == nullptr) {
        return {};
    }
    const TomlArray* array = node->as<TomlArray>();
    if (array == nullptr) {
        return {integer(key, 0, 0, most)};
    }
    std::vector<uint64_t> found;
    for (const TomlNode& element : *array) {
        const int64_t* value = element.as<int64_t>();
        if (value == nullptr || *value < 0 || static_cast<uint64_t>(*value) > most) {
            error(key, fmt::format("expected integers from 0 to {}", most));
            return {};
        }
        found.push_back(static_cast<uint64_t>(*value));
    }
    return found;
}

std::vector<uint64_t> TomlReader::wide(std::string_view key, uint64_t bits) const {
    const TomlNode* node = find(key);
    if (node == nullptr) {
        return {};
    }
    std::optional<std::vector<uint64_t>> words;
    if (const int64_t* number = node->as<int64_t>(); number != nullptr && *number >= 0) {
        words = std::vector<uint64_t>{static_cast<uint64_t>(*number)};
    } else if (const std::string* digits = node->as<std::string>();
               digits != nullptr && digits->starts_with("0x")) {
        words = wide_value(std::string_view(*digits).substr(2));
    }
    if (!words || !fits_bits(*words, bits)) {
        error(key, fmt::format("expected a value of at most {} bits, as an integer or as a text "
                               "like \"0x1F\"",
                               bits));
        return {};
    }
    words->resize((bits + kWordBits - 1) / kWordBits);
    return *words;
}

std::optional<TomlReader> TomlReader::table(std::string_view key) const {
    if (!has(key) || typed<TomlTable>(key, "a table") == nullptr) {
        return std::nullopt;
    }
    return TomlReader(*find(key), path_of(key), *errors_);
}

std::vector<TomlReader> TomlReader::tables(std::string_view key) const {
    const std::string expected = fmt::format("an array of tables, written [[{}]]", path_of(key));
    const TomlArray* array = has(key) ? typed<TomlArray>(key, expected) : nullptr;
    std::vector<TomlReader> found;
    if (array == nullptr) {
        return found;
    }
    const auto is_table = [](const TomlNode& node) { return node.as<TomlTable>() != nullptr; };
    if (array->empty() || !std::all_of(array->begin(), array->end(), is_table)) {
        error(key, fmt::format("expected {}, found {}", expected, type_name(*find(key))));
        return found;
    }
    for (const TomlNode& element : *array) {
        found.emplace_back(element, fmt::format("{}[{}]", path_of(key), found.size()), *errors_);
    }
    return found;
}

void TomlReader::require(std::string_view key, const std::string& expected) const {
    if (!has(key)) {
        error(key, "missing, expected " + expected);
    }
}

void TomlReader::only(const std::vector<std::string_view>& keys) const {
    for (const TomlEntry& entry : entries()) {
        if (std::find(keys.begin(), keys.end(), entry.key) == keys.end()) {
            errors_->add(std::max<uint32_t>(entry.line, 1), path_of(entry.key),
                         fmt::format("unknown key, expected one of {}", fmt::join(keys, ", ")));
        }
    }
}

} // namespace talvor
