// A board configuration as the driver reads it: the CFG_Interface table over a key store.
#pragma once

#include "cfg_export.h"
#include "host/board/key_store.h"

#include <cstdint>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace talvor {

// What the table answers when the driver asks for something that it cannot have. The driver passes
// these on unchanged, so they stay clear of its own codes, which are negative.
enum HostError : int32_t {
    HostErrorNotCalled = 9001,   // an operation that the driver never calls
    HostErrorBadEntry = 9002,    // a null output or entry, or an unknown context
    HostErrorNotANumber = 9003,  // the text is no number, or does not fit 32 bits
    HostErrorNotABoolean = 9004, // the text is no truth value
};

// Stays where it was made: the driver keeps pointers into it for as long as a handle lives.
class Configuration {
public:
    explicit Configuration(KeyStore keys);
    Configuration(const Configuration&) = delete;
    Configuration& operator=(const Configuration&) = delete;

    // What goes into JSC_Parameter.
    [[nodiscard]] CFG_Interface* table() noexcept { return &table_; }
    [[nodiscard]] CFG_Handle handle() noexcept { return this; }

    [[nodiscard]] const KeyStore& keys() const noexcept { return keys_; }
    // The key that the driver looked up last, "" before the first: readers stop at the first error,
    // so after a failed one this is the key that was no good.
    [[nodiscard]] const std::string& last_key() const noexcept { return last_key_; }
    // The keys that were never looked up: misspelt, or without effect beside the others.
    [[nodiscard]] std::vector<Key> unread() const;

private:
    friend struct ConfigurationSlots;

    KeyStore keys_;
    CFG_Interface table_;
    std::string last_key_;
    std::set<std::string, std::less<>> asked_;
};

// Number texts: decimal, or hexadecimal with 0x; a sign where it fits. False when `text` is none.
[[nodiscard]] bool parse_unsigned(std::string_view text, uint32_t& value);
[[nodiscard]] bool parse_signed(std::string_view text, int32_t& value);
// true, yes, on, enable, 1; false, no, off, disable, 0; in any case.
[[nodiscard]] bool parse_boolean(std::string_view text, bool& value);

} // namespace talvor
