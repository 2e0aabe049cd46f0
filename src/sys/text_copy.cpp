#include "sys/text_copy.h"

#include <cstring>

char* str0_copy(char* dest, const char* source) {
    return static_cast<char*>(std::memmove(dest, source, std::strlen(source) + 1));
}

const char* sys_Str0SearchLen(const char* str, uint32_t len, char chr) {
    return str == nullptr || len == 0 ? nullptr
                                      : static_cast<const char*>(std::memchr(str, chr, len));
}

bool sys_Str0CopyLen(char* dest, const char* source, uint32_t size) {
    if (dest == nullptr || source == nullptr || size == 0) {
        return true;
    }
    std::memcpy(dest, source, size);
    dest[size] = '\0';
    return false;
}

int sys_Str0ApndLen(char* dest, const char* source, uint32_t size) {
    if (dest == nullptr) {
        return 1;
    }
    return sys_Str0CopyLen(dest + std::strlen(dest), source, size) ? 1 : 0;
}

bool sys_Str0FromText(const char* pValue, uint32_t valueLength, char* pString,
                      uint32_t stringLength) {
    if (pString == nullptr || stringLength == 0) {
        return true;
    }
    // Kept: the buffer stays as it was. Hosts leave a default in it.
    if (pValue == nullptr || valueLength == 0) {
        return false;
    }
    const uint32_t room = stringLength - 1;
    const uint32_t length = valueLength < room ? valueLength : room;
    std::memcpy(pString, pValue, length);
    pString[length] = '\0';
    return false;
}
