// The keys of a board configuration in memory.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace talvor {

struct Key {
    std::string name;  // with its namespace, as in "KELM.POD_TCKDIV"
    std::string text;  // the value as the driver reads it
    uint32_t line = 0; // of the board file; 0 when it comes from elsewhere

    friend bool operator==(const Key&, const Key&) = default;
};

class KeyStore {
public:
    // Adds a key, or replaces the value of one that is there.
    void set(std::string_view name, std::string text, uint32_t line = 0);
    // Adds a key unless it is there.
    void set_default(std::string_view name, std::string text);

    // The key of that name, or null. Names are compared as they are.
    [[nodiscard]] const Key* find(std::string_view name) const noexcept;
    // In the order in which they were added.
    [[nodiscard]] std::span<const Key> keys() const noexcept { return keys_; }

    friend bool operator==(const KeyStore&, const KeyStore&) = default;

private:
    std::vector<Key> keys_;
};

} // namespace talvor
