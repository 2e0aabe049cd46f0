#include "sys/number.h"

#include "sys/keyword.h"

#include <cstdlib>
#include <type_traits>

namespace {

constexpr const char* kTruthWords[] = {"POSITIVE", "ASSERT", "TRUTH", "TRUE", "HIGH",
                                       "YES",      "ONE",    "1",     nullptr};
constexpr const char* kFalsehoodWords[] = {"NEGATIVE", "NEGATE", "FALSE", "LOW",  "NOT",
                                           "NO",       "ZERO",   "0",     nullptr};

static_assert(sizeof(long) == sizeof(long long), "one conversion serves all widths");

// Whether nothing converted; *number is written all the same, with what fits of the value.
template <typename Number>
bool read_number(const char* text, Number* number) {
    if (text == nullptr || number == nullptr) {
        return true;
    }
    char* end = nullptr;
    if constexpr (std::is_signed_v<Number>) {
        *number = static_cast<Number>(std::strtol(text, &end, 0));
    } else {
        *number = static_cast<Number>(std::strtoul(text, &end, 0));
    }
    return end == text;
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
