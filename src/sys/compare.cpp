#include "sys/compare.h"

#include "sys/letter_case.h"

int sys_Str0SinglCmpInsStr(const char* string1, const char* string2) {
    return sys_Str0SinglCmpInsLen(string1, string2, 0);
}

int sys_Str0SinglCmpInsLen(const char* string1, const char* string2, uint32_t number) {
    if (string1 == nullptr || string2 == nullptr) {
        return 1;
    }
    const CaseTable upper = upper_case_table();
    for (uint64_t i = 0; number == 0 || i < number; ++i) {
        const int32_t one = upper[string1[i]];
        const int32_t two = upper[string2[i]];
        if (one != two) {
            return one > two ? 1 : -1;
        }
        if (string1[i] == '\0') {
            break;
        }
    }
    return 0;
}
