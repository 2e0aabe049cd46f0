// Numbers and truth values read from NUL-terminated texts. Each returns true on failure; null
// arguments fail.
#pragma once

#include "jti_typedef.h"

// Read an integer as the C library of C17 does with automatic base: 0x hexadecimal, a leading 0
// octal, else decimal; leading blanks (space, \t, \n, \v, \f, \r), a sign and trailing characters
// are accepted. The conversion is this file's own, because libraries differ: since C23 theirs takes
// 0b for binary, and a board file must mean the same everywhere. Here it is a 0 with characters
// behind it. What 64 bits hold (a larger number is the largest one, a smaller one the smallest;
// without a sign bit -1 is the largest) is cut to the width of *pNumber without a range check: 300
// is 44 in 8 bits. When no character converts the call fails, and *pNumber is 0.
JTI_EXPORT bool sys_Str0ToUnsign8(const char* pValue, uint8_t* pNumber);
JTI_EXPORT bool sys_Str0ToSigned8(const char* pValue, int8_t* pNumber);
JTI_EXPORT bool sys_Str0ToUnsign16(const char* pValue, uint16_t* pNumber);
JTI_EXPORT bool sys_Str0ToSigned16(const char* pValue, int16_t* pNumber);
JTI_EXPORT bool sys_Str0ToUnsign32(const char* pValue, uint32_t* pNumber);
JTI_EXPORT bool sys_Str0ToSigned32(const char* pValue, int32_t* pNumber);
JTI_EXPORT bool sys_Str0ToUnsign64(const char* pValue, uint64_t* pNumber);
JTI_EXPORT bool sys_Str0ToSigned64(const char* pValue, int64_t* pNumber);

// Reads a truth word ("true", "yes", "high", ...), a falsehood word ("false", "no", "low", ...),
// both whole and in any case, or an integer, where 0 is false. Fails for anything else, with
// *pLogic unchanged.
JTI_EXPORT bool sys_Str0ToBoolean(const char* pValue, bool* pLogic);
