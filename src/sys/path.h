// File names and their extensions, with slashes of both conventions. Texts are NUL-terminated. A
// null path or extension changes nothing and gives null.
#pragma once

#include "jti_typedef.h"

// Points at the '.' of the path's extension, inside the path; null when there is none. The
// extension begins at the last '.', unless a '/' or a '\' follows it.
JTI_EXPORT const char* zdl_PathExtensionExist(const char* pNamePath);

// Cuts the path at its extension's '.', if there is one.
JTI_EXPORT void zdl_PathExtensionDel(char* pNamePath);

// Gives the path an extension; pNameExt may begin with the '.' or not. A path that has one keeps it
// unless `force`. The buffer needs room for the path, a '.', pNameExt and a NUL: nothing is
// checked.
JTI_EXPORT void zdl_PathExtensionAdd(char* pNamePath, const char* pNameExt, bool force);

// Points at the file name inside the path: behind the last '\', else behind the last '/', else
// behind the last ':', else at the whole path. A '\' wins even over a '/' that follows it.
JTI_EXPORT const char* zdl_PathNameToFileName(const char* pNamePath);

// Builds pInput's path in pOutput (in/out). A path with an extension keeps it, or with `force` has
// it replaced by pExten; a path without one gets pExten. pExten is taken as it stands and must
// carry its own '.'. Returns true on failure: a null pointer or what the string heap refuses; after
// a refused copy pOutput is unchanged, after a refused append it holds the path without extension.
JTI_EXPORT bool zdl_PathNameToStrHeap(strheap_t* pOutput, const char* pInput, const char* pExten,
                                      bool force);
