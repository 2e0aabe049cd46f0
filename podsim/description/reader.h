// Typed access to the keys of a TOML table, with errors that name file, line, key and expectation.
#pragma once

#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <toml++/toml.h>
#include <vector>

namespace podsim::description {

// The first error of a file; later ones are ignored.
class Errors {
public:
    explicit Errors(std::string file) : file_(std::move(file)) {}

    // "file:line: key: text".
    void add(std::uint32_t line, const std::string& key, const std::string& text);
    bool any() const { return !first_.empty(); }
    const std::string& first() const { return first_; }

private:
    std::string file_;
    std::string first_;
};

// One table of the file. Getters add an error when the key has another type or an impossible value,
// and then return the default; a key that is absent is the default.
class Reader {
public:
    // `path` is the table's own key as errors show it, as in "pod[0].tap[1]".
    Reader(const toml::table& table, std::string path, Errors& errors)
        : table_(table), path_(std::move(path)), errors_(errors) {}

    bool has(std::string_view key) const { return table_.contains(key); }
    std::uint64_t integer(std::string_view key, std::uint64_t fallback, std::uint64_t least,
                          std::uint64_t most) const;
    bool boolean(std::string_view key, bool fallback) const;
    std::string text(std::string_view key, std::string fallback) const;
    std::vector<std::string> texts(std::string_view key) const;
    // An integer, or an array of integers; empty when absent.
    std::vector<std::uint64_t> integers(std::string_view key, std::uint64_t most) const;
    // A value of up to `bits` bits: an integer, or a text of hexadecimal digits after "0x".
    std::vector<std::uint64_t> wide(std::string_view key, std::uint64_t bits) const;
    // The tables of an array of tables.
    std::vector<Reader> tables(std::string_view key) const;

    // The key must be there.
    void require(std::string_view key, const std::string& expected) const;
    // Every other key is an error.
    void only(const std::vector<std::string_view>& keys) const;
    // An error at a key, or at the table where the key is absent.
    void error(std::string_view key, const std::string& text) const;

    const std::string& path() const { return path_; }

private:
    std::string path_of(std::string_view key) const;
    void wrong_type(const toml::node& node, std::string_view key,
                    const std::string& expected) const;

    const toml::table& table_;
    std::string path_;
    Errors& errors_;
};

} // namespace podsim::description
