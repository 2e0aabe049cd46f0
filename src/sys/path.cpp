#include "sys/path.h"

#include "sys/strheap.h"
#include "sys/text_copy.h"

#include <cstring>

namespace {

const char* FindExtension(const char* path) {
    const char* dot = path == nullptr ? nullptr : std::strrchr(path, '.');
    return dot == nullptr || std::strpbrk(dot, "/\\") != nullptr ? nullptr : dot;
}

char* find_extension_of_own(char* path) {
    const char* dot = FindExtension(path);
    return dot == nullptr ? nullptr : path + (dot - path);
}

} // namespace

const char* zdl_PathExtensionExist(const char* pNamePath) {
    return FindExtension(pNamePath);
}

void zdl_PathExtensionDel(char* pNamePath) {
    char* dot = find_extension_of_own(pNamePath);
    if (dot != nullptr) {
        *dot = '\0';
    }
}

void zdl_PathExtensionAdd(char* pNamePath, const char* pNameExt, bool force) {
    if (pNamePath == nullptr || pNameExt == nullptr) {
        return;
    }
    char* dot = find_extension_of_own(pNamePath);
    if (dot != nullptr && !force) {
        return;
    }
    if (dot == nullptr) {
        dot = pNamePath + std::strlen(pNamePath);
    }
    *dot = '.';
    str0_copy(dot + 1, *pNameExt == '.' ? pNameExt + 1 : pNameExt);
}

const char* zdl_PathNameToFileName(const char* pNamePath) {
    if (pNamePath == nullptr) {
        return nullptr;
    }
    // Kept: the order of the separators, not their place, decides.
    for (const char* separator = "\\/:"; *separator != '\0'; ++separator) {
        const char* last = std::strrchr(pNamePath, *separator);
        if (last != nullptr) {
            return last + 1;
        }
    }
    return pNamePath;
}

bool zdl_PathNameToStrHeap(strheap_t* pOutput, const char* pInput, const char* pExten, bool force) {
    if (pInput == nullptr || pExten == nullptr) {
        return true;
    }
    const char* dot = FindExtension(pInput);
    const size_t stem = dot == nullptr ? std::strlen(pInput) : static_cast<size_t>(dot - pInput);
    if (sys_StrHeapCopyLen(pOutput, pInput, static_cast<uint32_t>(stem))) {
        return true;
    }
    return sys_StrHeapApndStr(pOutput, dot == nullptr || force ? pExten : dot);
}
