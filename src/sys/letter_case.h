// Upper and lower case of the current locale. Characters index its tables as the signed values they
// are (-128 to 127), which the tables allow and toupper() of <cctype> does not.
#pragma once

#include "jti_typedef.h"

#include <cctype>

// One of the locale's two tables, fetched once before a loop.
struct CaseTable {
    const int32_t* values;
    int32_t operator[](char character) const { return values[static_cast<signed char>(character)]; }
};

inline CaseTable upper_case_table() {
    return {*__ctype_toupper_loc()};
}
inline CaseTable lower_case_table() {
    return {*__ctype_tolower_loc()};
}

// Converts the NUL-terminated text in place and returns it; null for null.
JTI_EXPORT char* sys_Str0ToUpper(char* string);
JTI_EXPORT char* sys_Str0ToLower(char* string);
