#include "host/board/configuration.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cctype>
#include <charconv>
#include <cstddef>
#include <limits>
#include <utility>

namespace talvor {
namespace {

constexpr uint32_t kInvalidContext = 0;
constexpr uint32_t kGlobalContext = 1;
constexpr size_t kSlots = sizeof(CFG_Interface) / sizeof(CFG_Unused_t);

// What GetContextHandle gives for an absent key; the typed reads know it.
const Key& absent_key() {
    static const Key key;
    return key;
}

JTI_Error not_called() {
    return HostErrorNotCalled;
}

const Key* entry_key(JBD_Context entry) {
    return static_cast<const Key*>(entry);
}

// Magnitude of a number text without its sign.
bool parse_magnitude(std::string_view digits, uint64_t& value) {
    int base = 10;
    if (digits.starts_with("0x") || digits.starts_with("0X")) {
        digits.remove_prefix(2);
        base = 16;
    }
    const auto [end, error] =
        std::from_chars(digits.data(), digits.data() + digits.size(), value, base);
    return error == std::errc() && end == digits.data() + digits.size();
}

} // namespace

bool parse_unsigned(std::string_view text, uint32_t& value) {
    if (text.starts_with('+')) {
        text.remove_prefix(1);
    }
    uint64_t magnitude = 0;
    if (!parse_magnitude(text, magnitude) || magnitude > std::numeric_limits<uint32_t>::max()) {
        return false;
    }
    value = static_cast<uint32_t>(magnitude);
    return true;
}

bool parse_signed(std::string_view text, int32_t& value) {
    const bool negative = text.starts_with('-');
    if (negative || text.starts_with('+')) {
        text.remove_prefix(1);
    }
    uint64_t magnitude = 0;
    const uint64_t limit = uint64_t{1} << 31;
    if (!parse_magnitude(text, magnitude) || magnitude > (negative ? limit : limit - 1)) {
        return false;
    }
    const auto wide = static_cast<int64_t>(magnitude);
    value = static_cast<int32_t>(negative ? -wide : wide);
    return true;
}

bool parse_boolean(std::string_view text, bool& value) {
    constexpr std::array<std::string_view, 5> kTrue{"true", "yes", "on", "enable", "1"};
    constexpr std::array<std::string_view, 5> kFalse{"false", "no", "off", "disable", "0"};
    std::string lower(text);
    std::transform(lower.begin(), lower.end(), lower.begin(),
                   [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
    const auto is_one_of = [&lower](const auto& words) {
        return std::find(words.begin(), words.end(), lower) != words.end();
    };
    value = is_one_of(kTrue);
    return value || is_one_of(kFalse);
}

// The seven operations that the driver calls.
struct ConfigurationSlots {
    static JTI_Error id_invalid(CFG_Handle, uint32_t* id) {
        if (id == nullptr) {
            return HostErrorBadEntry;
        }
        *id = kInvalidContext;
        return 0;
    }

    static JTI_Error id_global(CFG_Handle, uint32_t* id, bool* found) {
        if (id == nullptr || found == nullptr) {
            return HostErrorBadEntry;
        }
        *id = kGlobalContext;
        *found = true;
        return 0;
    }

    static JTI_Error entry(CFG_Handle handle, uint32_t context, const char* name,
                           JBD_Context* entry, bool* found) {
        if (handle == nullptr || name == nullptr || entry == nullptr || found == nullptr ||
            context != kGlobalContext) {
            return HostErrorBadEntry;
        }
        auto& self = *static_cast<Configuration*>(handle);
        self.last_key_ = name;
        self.asked_.insert(self.last_key_);
        const Key* key = self.keys_.find(name);
        *found = key != nullptr;
        // The interface has no const; nobody writes through an entry.
        *entry = const_cast<Key*>(key != nullptr ? key : &absent_key());
        return 0;
    }

    static JTI_Error string(CFG_Handle, JBD_Context entry, uint32_t* length, const char** text) {
        const Key* key = entry_key(entry);
        if (key == nullptr || length == nullptr || text == nullptr) {
            return HostErrorBadEntry;
        }
        *length = static_cast<uint32_t>(key->text.size());
        *text = key->text.c_str();
        return 0;
    }

    // An absent key reads as an empty value; a present one must parse.
    template <typename T>
    static JTI_Error parsed(JBD_Context entry, T* value, bool (*parse)(std::string_view, T&),
                            HostError failure) {
        const Key* key = entry_key(entry);
        if (key == nullptr || value == nullptr) {
            return HostErrorBadEntry;
        }
        *value = T{};
        if (key == &absent_key()) {
            return 0;
        }
        T result{};
        if (!parse(key->text, result)) {
            return failure;
        }
        *value = result;
        return 0;
    }

    static JTI_Error boolean(CFG_Handle, JBD_Context entry, bool* value) {
        return parsed(entry, value, parse_boolean, HostErrorNotABoolean);
    }
    static JTI_Error unsign32(CFG_Handle, JBD_Context entry, uint32_t* value) {
        return parsed(entry, value, parse_unsigned, HostErrorNotANumber);
    }
    static JTI_Error signed32(CFG_Handle, JBD_Context entry, int32_t* value) {
        return parsed(entry, value, parse_signed, HostErrorNotANumber);
    }

    static CFG_Interface table() {
        std::array<CFG_Unused_t, kSlots> slots;
        slots.fill(not_called);
        auto table = std::bit_cast<CFG_Interface>(slots);
        table.GetContextIdInvalid = id_invalid;
        table.GetContextIdGlobal = id_global;
        table.GetContextHandle = entry;
        table.GetContextString = string;
        table.GetContextBoolean = boolean;
        table.GetContextUnsign32 = unsign32;
        table.GetContextSigned32 = signed32;
        return table;
    }
};

Configuration::Configuration(KeyStore keys)
    : keys_(std::move(keys)), table_(ConfigurationSlots::table()) {}

std::vector<Key> Configuration::unread() const {
    std::vector<Key> keys;
    for (const Key& key : keys_.keys()) {
        if (!asked_.contains(key.name)) {
            keys.push_back(key);
        }
    }
    return keys;
}

} // namespace talvor
