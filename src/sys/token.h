// Tokens of a counted text.
#pragma once

#include "jti_typedef.h"

// Returns the length of the first token of `parse` (in/out), which begins where parse->str stood:
// the characters before the first one that stands in the set `delimit`. Moves `parse` past the
// token and all delimiters behind it, to null and length 0 when nothing is left. Leading delimiters
// give a token of length 0. A null record and a null or empty text give 0 and change nothing. No
// byte of either text is written.
JTI_EXPORT uint32_t sys_StrTokenSafe(strfixed_t* parse, strfixed_t* delimit);
