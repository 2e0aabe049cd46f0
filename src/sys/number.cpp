#include "sys/number.h"

#include "sys/keyword.h"

#include <limits>
#include <type_traits>

namespace {

constexpr const char* kTruthWords[] = {"POSITIVE", "ASSERT", "TRUTH", "TRUE", "HIGH",
                                       "YES",      "ONE",    "1",     nullptr};
constexpr const char* kFalsehoodWords[] = {"NEGATIVE", "NEGATE", "FALSE", "LOW",  "NOT",
                                           "NO",       "ZERO",   "0",     nullptr};

constexpr uint32_t kNoDigit = 255;

// What stands before the digits, and where they begin.
struct Prefix {
    const char* digits;
    uint32_t base;
    bool negative;
};

struct Magnitude {
    uint64_t value;
    bool too_large; // for 64 bits; the value then means nothing
};

bool is_blank(char character) {
    return character == ' ' || (character >= '\t' && character <= '\r');
}

uint32_t digit_of(char character) {
    if (character >= '0' && character <= '9') {
        return static_cast<uint32_t>(character - '0');
    }
    const char small = static_cast<char>(character | ('a' ^ 'A'));
    return small >= 'a' && small <= 'f' ? static_cast<uint32_t>(small - 'a') + 10 : kNoDigit;
}

Prefix read_prefix(const char* text) {
    while (is_blank(*text)) {
        ++text;
    }
    const bool negative = *text == '-';
    if (negative || *text == '+') {
        ++text;
    }
    if (*text != '0') {
        return {.digits = text, .base = 10, .negative = negative};
    }
    // An x without a digit behind it ends the number, which is the 0 before it.
    if ((text[1] == 'x' || text[1] == 'X') && digit_of(text[2]) < 16) {
        return {.digits = text + 2, .base = 16, .negative = negative};
    }
    return {.digits = text, .base = 8, .negative = negative};
}

Magnitude read_digits(const char* text, uint32_t base) {
    Magnitude magnitude{.value = 0, .too_large = false};
    for (; digit_of(*text) < base; ++text) {
        uint64_t& value = magnitude.value;
        magnitude.too_large = magnitude.too_large || __builtin_mul_overflow(value, base, &value) ||
                              __builtin_add_overflow(value, digit_of(*text), &value);
    }
    return magnitude;
}

int64_t signed_value(Magnitude magnitude, bool negative) {
    constexpr int64_t kMost = std::numeric_limits<int64_t>::max();
    if (magnitude.too_large || magnitude.value > static_cast<uint64_t>(kMost)) {
        return negative ? std::numeric_limits<int64_t>::min() : kMost;
    }
    const auto value = static_cast<int64_t>(magnitude.value);
    return negative ? -value : value;
}

uint64_t unsigned_value(Magnitude magnitude, bool negative) {
    if (magnitude.too_large) {
        return std::numeric_limits<uint64_t>::max();
    }
    return negative ? 0 - magnitude.value : magnitude.value;
}

// Whether nothing converted; *number is written all the same, with what fits of the value.
template <typename Number>
bool read_number(const char* text, Number* number) {
    if (text == nullptr || number == nullptr) {
        return true;
    }
    const Prefix prefix = read_prefix(text);
    const Magnitude magnitude = read_digits(prefix.digits, prefix.base);
    if constexpr (std::is_signed_v<Number>) {
        *number = static_cast<Number>(signed_value(magnitude, prefix.negative));
    } else {
        *number = static_cast<Number>(unsigned_value(magnitude, prefix.negative));
    }
    return digit_of(*prefix.digits) >= prefix.base;
}

} // namespace

bool sys_Str0ToUnsign8(const char* pValue, uint8_t* pNumber) {
    return read_number(pValue, pNumber);
}

bool sys_Str0ToSigned8(const char* pValue, int8_t* pNumber) {
    return read_number(pValue, pNumber);
}

bool sys_Str0ToUnsign16(const char* pValue, uint16_t* pNumber) {
    return read_number(pValue, pNumber);
}

bool sys_Str0ToSigned16(const char* pValue, int16_t* pNumber) {
    return read_number(pValue, pNumber);
}

bool sys_Str0ToUnsign32(const char* pValue, uint32_t* pNumber) {
    return read_number(pValue, pNumber);
}

bool sys_Str0ToSigned32(const char* pValue, int32_t* pNumber) {
    return read_number(pValue, pNumber);
}

bool sys_Str0ToUnsign64(const char* pValue, uint64_t* pNumber) {
    return read_number(pValue, pNumber);
}

bool sys_Str0ToSigned64(const char* pValue, int64_t* pNumber) {
    return read_number(pValue, pNumber);
}

bool sys_Str0ToBoolean(const char* pValue, bool* pLogic) {
    if (pValue == nullptr || pLogic == nullptr) {
        return true;
    }
    if (str0_find_keyword(pValue, kTruthWords, nullptr, 0) != nullptr) {
        *pLogic = true;
        return false;
    }
    if (str0_find_keyword(pValue, kFalsehoodWords, nullptr, 0) != nullptr) {
        *pLogic = false;
        return false;
    }
    int64_t number = 0;
    if (sys_Str0ToSigned64(pValue, &number)) {
        return true;
    }
    *pLogic = number != 0;
    return false;
}
