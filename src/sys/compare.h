// Comparison of NUL-terminated texts, ignoring case.
#pragma once

#include "jti_typedef.h"

// 0 if the texts are equal ignoring case; otherwise 1 if the first differing character of string1
// is the greater one in upper case (as the locale's table gives it), -1 if it is the smaller one. 1
// if a text is null.
JTI_EXPORT int sys_Str0SinglCmpInsStr(const char* string1, const char* string2);

// The same over the first `number` characters at most; 0 compares the whole texts.
JTI_EXPORT int sys_Str0SinglCmpInsLen(const char* string1, const char* string2, uint32_t number);
