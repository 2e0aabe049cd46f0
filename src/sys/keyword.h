// Look-up of a text in a keyword table: an array of texts closed by a null entry. The first entry
// that matches wins; empty entries are skipped.
#pragma once

#include "jti_typedef.h"

// The entry of `table` that agrees with `text` in the first `length` characters, ignoring case (the
// whole texts for length 0), or null when there is none. *index (unless index is null) receives its
// position, or the number of entries when none matched. A value that is a prefix of an entry is
// found with the value's own length. Null text or table: null, *index is not written.
const char* str0_find_keyword(const char* text, const char* const* table, uint32_t* index,
                              uint32_t length);

// str0_find_keyword for whole texts.
JTI_EXPORT const char* sys_Str0ArrayCmpInsStr(const char* string, const char** reference,
                                              uint32_t* index);

// str0_find_keyword over `number` characters.
JTI_EXPORT const char* sys_Str0ArrayCmpInsLen(const char* string, const char** reference,
                                              uint32_t* index, uint32_t number);
