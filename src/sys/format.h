// Numbers and truth values written as text. Each writes into the caller's buffer `text`, NUL
// included, and returns it; a null buffer gives null. The bytes needed are named.
#pragma once

#include "jti_typedef.h"

// "yes" or "no". 4 bytes.
JTI_EXPORT char* sys_Str0FromBoolean(char* text, bool value);

// Decimal up to 255, then hexadecimal in capitals with 4, 6 or 8 digits as needed. 11 bytes.
JTI_EXPORT char* sys_Str0FromUnsign32(char* text, uint32_t value);

// Decimal if negative, otherwise as sys_Str0FromUnsign32. 12 bytes.
JTI_EXPORT char* sys_Str0FromSigned32(char* text, int32_t value);

// An error code: decimal with its sign ("+7", "0", "-5"), or with `hex` 0x and eight lower-case
// digits. 12 bytes.
JTI_EXPORT char* sys_Str0FormatError(char* text, int32_t value, bool hex);
