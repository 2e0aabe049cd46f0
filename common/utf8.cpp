#include "common/utf8.h"

#include <cstdint>

namespace talvor {
namespace {

constexpr uint8_t kLeastContinuation = 0x80;
constexpr uint8_t kMostContinuation = 0xBF;

// Characters by their first byte; those of one row have these second bytes.
struct Row {
    uint8_t least_first;
    uint8_t most_first;
    size_t bytes;
    uint8_t least_second = kLeastContinuation;
    uint8_t most_second = kMostContinuation;
};

constexpr Row kRows[] = {
    {0x00, 0x7F, 1},             // ASCII
    {0xC2, 0xDF, 2},             // C0 and C1 would be longer than need be
    {0xE0, 0xE0, 3, 0xA0},       // and here below A0
    {0xE1, 0xEC, 3},             //
    {0xED, 0xED, 3, 0x80, 0x9F}, // above are the halves of UTF-16
    {0xEE, 0xEF, 3},             //
    {0xF0, 0xF0, 4, 0x90},       //
    {0xF1, 0xF3, 4},             //
    {0xF4, 0xF4, 4, 0x80, 0x8F}, // above is no character
};

} // namespace

size_t utf8_bytes(std::string_view text, size_t offset) noexcept {
    const auto byte = [text, offset](size_t i) { return static_cast<uint8_t>(text[offset + i]); };
    for (const Row& row : kRows) {
        if (byte(0) < row.least_first || byte(0) > row.most_first) {
            continue;
        }
        if (text.size() - offset < row.bytes ||
            (row.bytes > 1 && (byte(1) < row.least_second || byte(1) > row.most_second))) {
            return 0;
        }
        for (size_t i = 2; i < row.bytes; ++i) {
            if (byte(i) < kLeastContinuation || byte(i) > kMostContinuation) {
                return 0;
            }
        }
        return row.bytes;
    }
    return 0;
}

} // namespace talvor
