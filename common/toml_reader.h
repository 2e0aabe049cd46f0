// Typed access to the keys of a TOML table, with errors that name file, line, key and expectation.
#pragma once

#include "common/toml.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace talvor {

// The first error of a file; later ones are ignored.
class TomlErrors {
public:
    // `file`: as errors name it.
    explicit TomlErrors(std::string file) : file_(std::move(file)) {}

    // An error at "file:line: key", or "file:line" when `key` is empty.
    void add(uint32_t line, const std::string& key, const std::string& text);
    [[nodiscard]] bool any() const noexcept { return first_.has_value(); }
    // The first error, if any.
    [[nodiscard]] Status status() const;

private:
    std::string file_;
    std::optional<Error> first_;
};

// One table of the file. Getters add an error when the key has another type or an impossible value,
// and then return the default; a key that is absent is the default. Table and errors outlive it.
class TomlReader {
public:
    // `node` holds a table; `path` is its own key as errors show it, as in "pod[0].tap[1]".
    TomlReader(const TomlNode& node, std::string path, TomlErrors& errors)
        : node_(&node), path_(std::move(path)), errors_(&errors) {}

    // The keys, sorted.
    [[nodiscard]] const TomlTable& entries() const noexcept { return *node_->as<TomlTable>(); }
    [[nodiscard]] bool has(std::string_view key) const noexcept { return find(key) != nullptr; }
    [[nodiscard]] uint64_t integer(std::string_view key, uint64_t fallback, uint64_t least,
                                   uint64_t most) const;
    [[nodiscard]] bool boolean(std::string_view key, bool fallback) const;
    [[nodiscard]] std::string text(std::string_view key, std::string fallback) const;
    [[nodiscard]] std::vector<std::string> texts(std::string_view key) const;
    // An integer, or an array of integers; empty when absent.
    [[nodiscard]] std::vector<uint64_t> integers(std::string_view key, uint64_t most) const;
    // A value of up to `bits` bits: an integer, or a text of hexadecimal digits after "0x". Words
    // of 64 bits, the lowest first; empty when absent.
    [[nodiscard]] std::vector<uint64_t> wide(std::string_view key, uint64_t bits) const;
    // The table at a key; nothing when absent.
    [[nodiscard]] std::optional<TomlReader> table(std::string_view key) const;
    // The tables of an array of tables.
    [[nodiscard]] std::vector<TomlReader> tables(std::string_view key) const;

    // The key must be there.
    void require(std::string_view key, const std::string& expected) const;
    // Every other key is an error.
    void only(const std::vector<std::string_view>& keys) const;
    // An error at a key, or at the table where the key is absent.
    void error(std::string_view key, const std::string& text) const;

    [[nodiscard]] const std::string& path() const noexcept { return path_; }

private:
    [[nodiscard]] const TomlNode* find(std::string_view key) const noexcept;
    // The value at a key of one type; null, with an error, when it is of another.
    template <typename T>
    [[nodiscard]] const T* typed(std::string_view key, const std::string& expected) const;
    [[nodiscard]] std::string path_of(std::string_view key) const;

    const TomlNode* node_;
    std::string path_;
    TomlErrors* errors_;
};

} // namespace talvor
