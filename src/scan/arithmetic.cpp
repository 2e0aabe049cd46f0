#include "scan/arithmetic.h"

namespace {

constexpr uint32_t kUnlimited = 0xFFFFFFFF;
constexpr uint32_t kHalfMask = 0xFFFF;

} // namespace

bool unsign2true(uint32_t x) {
    return x != 0;
}

bool unsign2false(uint32_t x) {
    return x == 0;
}

uint32_t FromJtiToRavo(uint32_t x) {
    return x == kUnlimited ? kUnlimited : x + 1;
}

uint32_t FromRavoToJti(uint32_t x) {
    return x == kUnlimited ? kUnlimited : x - 1;
}

uint32_t Increment16To32(uint32_t reg1, uint32_t reg0) {
    return (reg1 << 16) | (reg0 & kHalfMask);
}

uint32_t Decrement16To32(uint32_t max1, uint32_t max0, uint32_t reg1, uint32_t reg0) {
    return Increment16To32(max1, max0) - Increment16To32(max1 & reg1, max0 & reg0);
}

uint32_t BitsModulo16(uint32_t n) {
    return n & 15;
}

uint32_t BitsModulo32(uint32_t n) {
    return n & 31;
}

uint32_t WordsPartial16(uint32_t n) {
    return (n + 15) >> 4;
}

uint32_t WordsPartial32(uint32_t n) {
    return (n + 31) >> 5;
}

uint32_t WordsWhole16(uint32_t n) {
    return n >> 4;
}

uint32_t WordsWhole32(uint32_t n) {
    return n >> 5;
}
