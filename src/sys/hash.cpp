#include "sys/hash.h"

namespace {

constexpr uint32_t kHashSeed = 5381;
constexpr uint32_t kHashFactor = 33;

} // namespace

uint32_t sys_StrHashFirst() {
    return kHashSeed;
}

uint32_t sys_StrHashAgain(uint32_t before, const char* pData) {
    if (pData == nullptr) {
        return before;
    }
    uint32_t hash = before;
    for (; *pData != '\0'; ++pData) {
        // The character counts as a signed one: 0x80 and above set the upper bits.
        const auto character = static_cast<signed char>(*pData);
        hash = (hash * kHashFactor) ^ static_cast<uint32_t>(character);
    }
    return hash;
}
