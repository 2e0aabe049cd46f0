#include "sys/format.h"

#include "sys/text_copy.h"

#include <cinttypes>
#include <cstdio>

namespace {

constexpr size_t kNumberTextSize = sizeof "-2147483648";

constexpr uint32_t kLargestDecimal = 0xFF;
constexpr uint32_t kLargestOf4Digits = 0xFFFF;
constexpr uint32_t kLargestOf6Digits = 0xFFFFFF;

} // namespace

char* sys_Str0FromBoolean(char* text, bool value) {
    return text == nullptr ? nullptr : str0_copy(text, value ? "yes" : "no");
}

char* sys_Str0FromUnsign32(char* text, uint32_t value) {
    if (text == nullptr) {
        return nullptr;
    }
    if (value <= kLargestDecimal) {
        std::snprintf(text, kNumberTextSize, "%" PRIu32, value);
    } else {
        const int digits = value <= kLargestOf4Digits ? 4 : value <= kLargestOf6Digits ? 6 : 8;
        std::snprintf(text, kNumberTextSize, "0x%0*" PRIX32, digits, value);
    }
    return text;
}

char* sys_Str0FromSigned32(char* text, int32_t value) {
    if (text == nullptr || value >= 0) {
        return sys_Str0FromUnsign32(text, static_cast<uint32_t>(value));
    }
    std::snprintf(text, kNumberTextSize, "%" PRId32, value);
    return text;
}

char* sys_Str0FormatError(char* text, int32_t value, bool hex) {
    if (text == nullptr) {
        return nullptr;
    }
    if (hex) {
        std::snprintf(text, kNumberTextSize, "0x%08" PRIx32, static_cast<uint32_t>(value));
    } else {
        std::snprintf(text, kNumberTextSize, value > 0 ? "+%" PRId32 : "%" PRId32, value);
    }
    return text;
}
