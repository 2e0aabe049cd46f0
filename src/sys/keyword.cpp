#include "sys/keyword.h"

#include "sys/compare.h"

const char* str0_find_keyword(const char* text, const char* const* table, uint32_t* index,
                              uint32_t length) {
    if (text == nullptr || table == nullptr) {
        return nullptr;
    }
    uint32_t position = 0;
    while (table[position] != nullptr) {
        const char* entry = table[position];
        if (*entry != '\0' && sys_Str0SinglCmpInsLen(text, entry, length) == 0) {
            break;
        }
        ++position;
    }
    if (index != nullptr) {
        *index = position;
    }
    return table[position];
}

const char* sys_Str0ArrayCmpInsStr(const char* string, const char** reference, uint32_t* index) {
    return str0_find_keyword(string, reference, index, 0);
}

const char* sys_Str0ArrayCmpInsLen(const char* string, const char** reference, uint32_t* index,
                                   uint32_t number) {
    return str0_find_keyword(string, reference, index, number);
}
