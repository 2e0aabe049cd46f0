#include "podsim/description/reader.h"

#include <algorithm>

namespace podsim::description {
namespace {

// The reader takes 64-bit values that do not fit TOML's signed integers as hexadecimal text.
constexpr std::uint64_t digit_bits = 4;
constexpr std::uint64_t word_bits = 64;

std::string_view type_of(const toml::node& node) {
    switch (node.type()) {
    case toml::node_type::string:
        return "a text";
    case toml::node_type::integer:
        return "an integer";
    case toml::node_type::floating_point:
        return "a real number";
    case toml::node_type::boolean:
        return "true or false";
    case toml::node_type::array:
        return "an array";
    case toml::node_type::table:
        return "a table";
    default:
        return "a date or time";
    }
}

std::string in_range(std::uint64_t least, std::uint64_t most) {
    return "an integer from " + std::to_string(least) + " to " + std::to_string(most);
}

std::optional<unsigned> digit_value(char digit) {
    constexpr std::string_view digits = "0123456789abcdef";
    const char lower = digit >= 'A' && digit <= 'F' ? static_cast<char>(digit - 'A' + 'a') : digit;
    const std::size_t value = digits.find(lower);
    return value == std::string_view::npos ? std::nullopt
                                           : std::optional(static_cast<unsigned>(value));
}

// Words of a hexadecimal number without its prefix, the lowest first.
std::optional<std::vector<std::uint64_t>> words_of(std::string_view digits) {
    std::vector<std::uint64_t> words;
    std::uint64_t position = 0;
    for (auto digit = digits.rbegin(); digit != digits.rend(); ++digit) {
        if (*digit == '_') {
            continue;
        }
        const auto value = digit_value(*digit);
        if (!value) {
            return std::nullopt;
        }
        if (position % word_bits == 0) {
            words.push_back(0);
        }
        words.back() |= std::uint64_t{*value} << (position % word_bits);
        position += digit_bits;
    }
    return words.empty() ? std::nullopt : std::optional(std::move(words));
}

bool fits(const std::vector<std::uint64_t>& words, std::uint64_t bits) {
    for (std::size_t i = 0; i < words.size(); ++i) {
        const std::uint64_t start = i * word_bits;
        const std::uint64_t over =
            start >= bits ? words[i] : (bits - start >= word_bits ? 0 : words[i] >> (bits - start));
        if (over != 0) {
            return false;
        }
    }
    return true;
}

} // namespace

void Errors::add(std::uint32_t line, const std::string& key, const std::string& text) {
    if (first_.empty()) {
        first_ = file_ + ":" + std::to_string(line) + ": " + (key.empty() ? "" : key + ": ") + text;
    }
}

std::string Reader::path_of(std::string_view key) const {
    return path_.empty() ? std::string(key) : path_ + "." + std::string(key);
}

void Reader::error(std::string_view key, const std::string& text) const {
    const toml::node* node = table_.get(key);
    const toml::node& place = node != nullptr ? *node : static_cast<const toml::node&>(table_);
    // The whole file has no place of its own: its first line stands for it.
    errors_.add(std::max<std::uint32_t>(place.source().begin.line, 1), path_of(key), text);
}

void Reader::wrong_type(const toml::node& node, std::string_view key,
                        const std::string& expected) const {
    error(key, "expected " + expected + ", found " + std::string(type_of(node)));
}

std::uint64_t Reader::integer(std::string_view key, std::uint64_t fallback, std::uint64_t least,
                              std::uint64_t most) const {
    const toml::node* node = table_.get(key);
    if (node == nullptr) {
        return fallback;
    }
    const toml::value<std::int64_t>* value = node->as_integer();
    if (value == nullptr) {
        wrong_type(*node, key, in_range(least, most));
        return fallback;
    }
    const std::int64_t found = value->get();
    if (found < 0 || static_cast<std::uint64_t>(found) < least ||
        static_cast<std::uint64_t>(found) > most) {
        error(key, "expected " + in_range(least, most) + ", found " + std::to_string(found));
        return fallback;
    }
    return static_cast<std::uint64_t>(found);
}

bool Reader::boolean(std::string_view key, bool fallback) const {
    const toml::node* node = table_.get(key);
    if (node == nullptr) {
        return fallback;
    }
    if (!node->is_boolean()) {
        wrong_type(*node, key, "true or false");
        return fallback;
    }
    return node->as_boolean()->get();
}

std::string Reader::text(std::string_view key, std::string fallback) const {
    const toml::node* node = table_.get(key);
    if (node == nullptr) {
        return fallback;
    }
    if (!node->is_string()) {
        wrong_type(*node, key, "a text");
        return fallback;
    }
    return node->as_string()->get();
}

std::vector<std::string> Reader::texts(std::string_view key) const {
    const toml::node* node = table_.get(key);
    std::vector<std::string> found;
    if (node == nullptr) {
        return found;
    }
    const toml::array* array = node->as_array();
    if (array == nullptr) {
        wrong_type(*node, key, "an array of texts");
        return found;
    }
    for (const toml::node& element : *array) {
        if (!element.is_string()) {
            wrong_type(element, key, "an array of texts");
            return {};
        }
        found.push_back(element.as_string()->get());
    }
    return found;
}

std::vector<std::uint64_t> Reader::integers(std::string_view key, std::uint64_t most) const {
    const toml::node* node = table_.get(key);
    if (node == nullptr) {
        return {};
    }
    if (!node->is_array()) {
        return {integer(key, 0, 0, most)};
    }
    std::vector<std::uint64_t> found;
    for (const toml::node& element : *node->as_array()) {
        const auto value = element.value_exact<std::int64_t>();
        if (!value || *value < 0 || static_cast<std::uint64_t>(*value) > most) {
            error(key, "expected integers from 0 to " + std::to_string(most));
            return {};
        }
        found.push_back(static_cast<std::uint64_t>(*value));
    }
    return found;
}

std::vector<std::uint64_t> Reader::wide(std::string_view key, std::uint64_t bits) const {
    const toml::node* node = table_.get(key);
    if (node == nullptr) {
        return {};
    }
    const std::string expected = "expected a value of at most " + std::to_string(bits) +
                                 " bits, as an integer or as a text like \"0x1F\"";
    std::optional<std::vector<std::uint64_t>> words;
    if (const auto* number = node->as_integer(); number != nullptr && number->get() >= 0) {
        words = std::vector<std::uint64_t>{static_cast<std::uint64_t>(number->get())};
    } else if (const auto* digits = node->as_string();
               digits != nullptr && digits->get().starts_with("0x")) {
        words = words_of(std::string_view(digits->get()).substr(2));
    }
    if (!words || !fits(*words, bits)) {
        error(key, expected);
        return {};
    }
    words->resize((bits + word_bits - 1) / word_bits);
    return *words;
}

std::vector<Reader> Reader::tables(std::string_view key) const {
    const toml::node* node = table_.get(key);
    std::vector<Reader> found;
    if (node == nullptr) {
        return found;
    }
    const std::string expected = "an array of tables, written [[" + path_of(key) + "]]";
    if (!node->is_array_of_tables()) {
        wrong_type(*node, key, expected);
        return found;
    }
    for (const toml::node& element : *node->as_array()) {
        found.emplace_back(*element.as_table(),
                           path_of(key) + "[" + std::to_string(found.size()) + "]", errors_);
    }
    return found;
}

void Reader::require(std::string_view key, const std::string& expected) const {
    if (!has(key)) {
        error(key, "missing, expected " + expected);
    }
}

void Reader::only(const std::vector<std::string_view>& keys) const {
    for (const auto& [key, node] : table_) {
        if (std::find(keys.begin(), keys.end(), key.str()) != keys.end()) {
            continue;
        }
        std::string expected;
        for (const std::string_view known : keys) {
            expected.append(expected.empty() ? "" : ", ").append(known);
        }
        errors_.add(std::max<std::uint32_t>(key.source().begin.line, 1), path_of(key.str()),
                    "unknown key, expected one of " + expected);
    }
}

} // namespace podsim::description
