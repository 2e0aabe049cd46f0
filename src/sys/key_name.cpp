#include "sys/key_name.h"

#include "sys/compare.h"
#include "sys/text_copy.h"

#include <cstring>

namespace {

struct Prefix {
    const char* old_form;
    const char* new_form;
};

constexpr Prefix kPrefixes[] = {
    {.old_form = "pod_", .new_form = "kelm.pod_"},
    {.old_form = "unify_", .new_form = "vexil."},
};

} // namespace

int sys_Str0ConvertVary(const char* pOldName, char* pNewName) {
    if (pOldName == nullptr || pNewName == nullptr) {
        return 1;
    }
    for (const Prefix& prefix : kPrefixes) {
        const size_t length = std::strlen(prefix.old_form);
        if (sys_Str0SinglCmpInsLen(pOldName, prefix.old_form, static_cast<uint32_t>(length)) == 0) {
            str0_copy(pNewName, prefix.new_form);
            str0_copy(pNewName + std::strlen(pNewName), pOldName + length);
            return 0;
        }
    }
    *pNewName = '\0';
    const char* separator = std::strpbrk(pOldName, "._");
    if (separator == nullptr) {
        return 1;
    }
    str0_copy(pNewName, pOldName);
    pNewName[separator - pOldName] = '.';
    return 0;
}
