#include "sys/token.h"

#include <cstring>

namespace {

bool holds_text(const strfixed_t* text) {
    return text != nullptr && text->str != nullptr && text->len != 0;
}

// The first character from `at` on that stands in the set (`wanted`) or does not; parse.len if
// none.
uint32_t find_delimiter(const strfixed_t& parse, uint32_t at, const strfixed_t& set, bool wanted) {
    while (at < parse.len && (std::memchr(set.str, parse.str[at], set.len) != nullptr) != wanted) {
        ++at;
    }
    return at;
}

} // namespace

uint32_t sys_StrTokenSafe(strfixed_t* parse, strfixed_t* delimit) {
    if (!holds_text(parse) || !holds_text(delimit)) {
        return 0;
    }
    const uint32_t token = find_delimiter(*parse, 0, *delimit, true);
    const uint32_t next = find_delimiter(*parse, token, *delimit, false);
    const uint32_t left = parse->len - next;
    parse->str = left == 0 ? nullptr : parse->str + next;
    parse->len = left;
    return token;
}
