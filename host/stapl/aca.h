// The compressed form of Boolean arrays.
//
// Characters carry six bits each, the lowest first: digits, capitals, small letters, _ and @ are 0
// to 63. The bits are a number of bytes, 32 bits wide, and then until there are as many: a 0 and
// three bytes (fewer at the end), or a 1, how far back to go and how many bytes to repeat from
// there (8 bits). How far is as wide as the count of bytes so far needs, and at most 13 bits.
#pragma once

#include "common/result.h"

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace talvor::stapl {

// How far back a repetition can go.
inline constexpr size_t kAcaWindow = 8191;

// The value of a character, 0 to 63, or -1.
[[nodiscard]] constexpr int aca_value(char character) noexcept {
    if (character >= '0' && character <= '9') {
        return character - '0';
    }
    if (character >= 'A' && character <= 'Z') {
        return character - 'A' + 10;
    }
    if (character >= 'a' && character <= 'z') {
        return character - 'a' + 36;
    }
    return character == '_' ? 62 : character == '@' ? 63 : -1;
}

// The bits that say how far back, when there are `bytes` so far.
[[nodiscard]] unsigned aca_offset_bits(size_t bytes) noexcept;

// The bytes that `characters` stand for. Errors (ErrorKind::BadFile, without a place): one of them
// is none of the 64, they end too early, they go back to before the first byte, or there are more
// than `max_bytes`.
[[nodiscard]] Result<std::vector<uint8_t>> expand_aca(std::string_view characters,
                                                      size_t max_bytes);

} // namespace talvor::stapl
