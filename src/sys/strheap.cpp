#include "sys/strheap.h"

#include "sys/letter_case.h"
#include "sys/os.h"

#include <cstring>
#include <functional>
#include <limits>

namespace {

// A first buffer is never smaller than this; a longer one has an eighth of its text in reserve.
constexpr uint32_t kSmallestBuffer = 33;
constexpr uint32_t kLongestOfSmallest = 31;

char* ByteAlloc(char* s, uint32_t m, uint32_t n) {
    if (n == 0 || n < m) {
        return nullptr;
    }
    char* fresh = static_cast<char*>(os_calls.malloc(n));
    if (fresh == nullptr) {
        return nullptr;
    }
    if (m == 0) {
        *fresh = '\0';
    } else {
        std::memcpy(fresh, s, m);
    }
    os_calls.free(s);
    return fresh;
}

bool ByteMisMatchI(const char* s, uint32_t n, const char* t) {
    const CaseTable lower = lower_case_table();
    for (uint32_t i = 0; i < n; ++i) {
        if (lower[s[i]] != lower[t[i]]) {
            return true;
        }
    }
    return false;
}

// The buffer for a text of `len` characters, or 0 when 32 bits do not hold its size.
uint32_t buffer_size(uint32_t len) {
    if (len <= kLongestOfSmallest) {
        return kSmallestBuffer;
    }
    const uint64_t size = uint64_t{len} + len / 8 + 1;
    return size > std::numeric_limits<uint32_t>::max() ? 0 : static_cast<uint32_t>(size);
}

// Whether the record may get a buffer (a larger one) for `len` characters.
bool may_grow(const strheap_t& sh, uint32_t len) {
    if (sh.str == nullptr && (sh.mem != 0 || sh.len != 0 || sh.max == 0)) {
        return false;
    }
    return len <= sh.max;
}

// Where `text` stands in the record's own buffer, which growth is about to move.
bool stands_inside(const strheap_t& sh, const char* text) {
    const std::less<const char*> before;
    return sh.str != nullptr && !before(text, sh.str) && before(text, sh.str + sh.mem);
}

// Writes `count` bytes of `text` behind the first `kept` characters and ends the text there.
bool put_behind(strheap_t* sh, uint32_t kept, const char* text, uint32_t count) {
    if (text == nullptr && count != 0) {
        return true;
    }
    if (count > std::numeric_limits<uint32_t>::max() - kept) {
        return true;
    }
    const bool inside = stands_inside(*sh, text);
    const ptrdiff_t place = inside ? text - sh->str : 0;
    if (sys_StrHeapAloc(sh, kept + count)) {
        return true;
    }
    if (count != 0) {
        std::memmove(sh->str + kept, inside ? sh->str + place : text, count);
    }
    sh->len = kept + count;
    sh->str[sh->len] = '\0';
    return false;
}

// The length of a NUL-terminated text, cut to what 32 bits hold; null has none.
uint32_t length_of(const char* text) {
    const size_t length = text == nullptr ? 0 : std::strlen(text);
    return length > std::numeric_limits<uint32_t>::max() ? std::numeric_limits<uint32_t>::max()
                                                         : static_cast<uint32_t>(length);
}

} // namespace

strheap_t sys_StrHeapInit(uint32_t max) {
    return {.str = nullptr, .mem = 0, .max = max, .len = 0};
}

bool sys_StrHeapAloc(strheap_t* sh, uint32_t len) {
    if (sh == nullptr) {
        return true;
    }
    // Kept: within the buffer that is there, `max` does not count.
    if (sh->str != nullptr && sh->mem > len) {
        return false;
    }
    if (!may_grow(*sh, len)) {
        return true;
    }
    const uint32_t size = buffer_size(len);
    char* moved = ByteAlloc(sh->str, sh->mem, size);
    if (moved == nullptr) {
        return true;
    }
    sh->str = moved;
    sh->mem = size;
    return false;
}

bool sys_StrHeapFree(strheap_t* sh) {
    if (sh == nullptr) {
        return true;
    }
    os_calls.free(sh->str);
    *sh = sys_StrHeapInit(sh->max);
    return false;
}

bool sys_StrHeapPutChar(strheap_t* sh, char ch) {
    return sys_StrHeapApndLen(sh, &ch, 1);
}

bool sys_StrHeapPutPntr(strheap_t* sh, char* pt) {
    return sys_StrHeapApndLen(sh, pt, 1);
}

char* sys_StrHeapGetStr(strheap_t* sh) {
    return sh == nullptr ? nullptr : sh->str;
}

uint32_t sys_StrHeapGetLen(strheap_t* sh) {
    return sh == nullptr ? 0 : sh->len;
}

bool sys_StrHeapCopyLen(strheap_t* sh, const char* buf, uint32_t len) {
    return sh == nullptr || put_behind(sh, 0, buf, len);
}

bool sys_StrHeapCopyStr(strheap_t* sh, const char* buf) {
    return buf == nullptr || sys_StrHeapCopyLen(sh, buf, length_of(buf));
}

bool sys_StrHeapCopy(strheap_t* sh1, strheap_t* sh2) {
    return sh2 == nullptr || sys_StrHeapCopyLen(sh1, sh2->str, sh2->len);
}

bool sys_StrHeapApndLen(strheap_t* sh, const char* buf, uint32_t len) {
    return sh == nullptr || put_behind(sh, sh->len, buf, len);
}

bool sys_StrHeapApndStr(strheap_t* sh, const char* buf) {
    return buf == nullptr || sys_StrHeapApndLen(sh, buf, length_of(buf));
}

bool sys_StrHeapApnd(strheap_t* sh1, strheap_t* sh2) {
    return sh2 == nullptr || sys_StrHeapApndLen(sh1, sh2->str, sh2->len);
}

bool sys_StrHeapCmpLen(strheap_t* sh, const char* buf, uint32_t len, bool prefix, bool nocase) {
    if (sh == nullptr || (buf == nullptr && len != 0)) {
        return true;
    }
    if (sh->len != len && !(prefix && sh->len > len)) {
        return true;
    }
    if (len == 0) {
        return false;
    }
    return nocase ? ByteMisMatchI(sh->str, len, buf) : std::memcmp(sh->str, buf, len) != 0;
}

bool sys_StrHeapCmpStr(strheap_t* sh, const char* buf, bool prefix, bool nocase) {
    return buf == nullptr || sys_StrHeapCmpLen(sh, buf, length_of(buf), prefix, nocase);
}

bool sys_StrHeapCmp(strheap_t* sh1, strheap_t* sh2, bool prefix, bool nocase) {
    return sh2 == nullptr || sys_StrHeapCmpLen(sh1, sh2->str, sh2->len, prefix, nocase);
}
