#include "sys/format.h"

#include <cinttypes>
#include <cstdio>
#include <cstring>

namespace {

constexpr size_t number_text_size = sizeof "-2147483648";

constexpr uint32_t largest_decimal = 0xFF;
constexpr uint32_t largest_of_4_digits = 0xFFFF;
constexpr uint32_t largest_of_6_digits = 0xFFFFFF;

} // namespace

char* sys_Str0FromBoolean(char* text, bool value) {
    return text == nullptr ? nullptr : std::strcpy(text, value ? "yes" : "no");
}

char* sys_Str0FromUnsign32(char* text, uint32_t value) {
    if (text == nullptr) {
        return nullptr;
    }
    if (value <= largest_decimal) {
        std::snprintf(text, number_text_size, "%" PRIu32, value);
    } else {
        const int digits = value <= largest_of_4_digits ? 4 : value <= largest_of_6_digits ? 6 : 8;
        std::snprintf(text, number_text_size, "0x%0*" PRIX32, digits, value);
    }
    return text;
}

char* sys_Str0FromSigned32(char* text, int32_t value) {
    if (text == nullptr || value >= 0) {
        return sys_Str0FromUnsign32(text, static_cast<uint32_t>(value));
    }
    std::snprintf(text, number_text_size, "%" PRId32, value);
    return text;
}

char* sys_Str0FormatError(char* text, int32_t value, bool hex) {
    if (text == nullptr) {
        return nullptr;
    }
    if (hex) {
        std::snprintf(text, number_text_size, "0x%08" PRIx32, static_cast<uint32_t>(value));
    } else {
        std::snprintf(text, number_text_size, value > 0 ? "+%" PRId32 : "%" PRId32, value);
    }
    return text;
}
