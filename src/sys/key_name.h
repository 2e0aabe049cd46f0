// Configuration key names of the old style.
#pragma once

#include "jti_typedef.h"

// Writes the present form of a key name. Prefixes count in any case:
//   pod_<rest>   -> kelm.pod_<rest>
//   unify_<rest> -> vexil.<rest>
//   a '.' before any '_': the name as it is
//   a '_' before any '.': that '_' becomes a '.'
// pNewName needs 6 bytes more than pOldName has characters, and must not overlap it. Returns 0; 1
// for a name with neither character (pNewName is then the empty text) and for a null pointer
// (nothing is written).
JTI_EXPORT int sys_Str0ConvertVary(const char* pOldName, char* pNewName);
