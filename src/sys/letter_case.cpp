#include "sys/letter_case.h"

namespace {

char* convert(char* text, CaseTable table) {
    if (text != nullptr) {
        for (char* at = text; *at != '\0'; ++at) {
            *at = static_cast<char>(table[*at]);
        }
    }
    return text;
}

} // namespace

char* sys_Str0ToUpper(char* string) {
    return convert(string, upper_case_table());
}

char* sys_Str0ToLower(char* string) {
    return convert(string, lower_case_table());
}
