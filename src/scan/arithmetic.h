// Small arithmetic on bit counts and register halves.
#pragma once

#include "jsc_internal.h"

JTI_EXPORT bool unsign2true(uint32_t x);
JTI_EXPORT bool unsign2false(uint32_t x);
// x + 1; 0xFFFFFFFF stays.
JTI_EXPORT uint32_t FromJtiToRavo(uint32_t x);
// x - 1; 0xFFFFFFFF stays.
JTI_EXPORT uint32_t FromRavoToJti(uint32_t x);
// Two 16-bit halves to one number; reg1 is the high half.
JTI_EXPORT uint32_t Increment16To32(uint32_t reg1, uint32_t reg0);
// What a counter has left from its maximum, both in halves.
JTI_EXPORT uint32_t Decrement16To32(uint32_t max1, uint32_t max0, uint32_t reg1, uint32_t reg0);
JTI_EXPORT uint32_t BitsModulo16(uint32_t n);
JTI_EXPORT uint32_t BitsModulo32(uint32_t n);
// Words that hold n bits, a partial one counted.
JTI_EXPORT uint32_t WordsPartial16(uint32_t n);
JTI_EXPORT uint32_t WordsPartial32(uint32_t n);
// Whole words in n bits.
JTI_EXPORT uint32_t WordsWhole16(uint32_t n);
JTI_EXPORT uint32_t WordsWhole32(uint32_t n);
