// Copies of counted texts into NUL-terminated ones, and the search in a counted text.
#pragma once

#include "jti_typedef.h"

// Copies the NUL-terminated `source`, NUL included, and returns `dest`, which has the room. Neither
// may be null; they may overlap.
char* str0_copy(char* dest, const char* source);

// Points at the first `chr` among the first `len` characters of `str`; null when there is none, for
// len 0 and for a null text. A NUL does not end the search.
JTI_EXPORT const char* sys_Str0SearchLen(const char* str, uint32_t len, char chr);

// Copies exactly `size` characters (a NUL among them does not stop the copy) and writes a NUL at
// dest[size]; `dest` needs room for size + 1. Returns false; true with nothing written for a null
// pointer or size 0.
JTI_EXPORT bool sys_Str0CopyLen(char* dest, const char* source, uint32_t size);

// Appends exactly `size` characters of `source` to the NUL-terminated `dest` and a NUL; `dest`
// needs the room. Returns 0; 1 with nothing written for a null pointer or size 0.
JTI_EXPORT int sys_Str0ApndLen(char* dest, const char* source, uint32_t size);

// Copies what fits of the `valueLength` characters at pValue into the `stringLength` bytes at
// pString, a NUL behind them. Returns true for a null pString or stringLength 0. A null pValue or
// valueLength 0 returns false and writes nothing, not even the NUL.
JTI_EXPORT bool sys_Str0FromText(const char* pValue, uint32_t valueLength, char* pString,
                                 uint32_t stringLength);
