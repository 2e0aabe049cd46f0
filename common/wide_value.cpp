#include "common/wide_value.h"

#include <cstddef>
#include <utility>

namespace talvor {
namespace {

constexpr uint64_t kDigitBits = 4;
constexpr uint64_t kWordBits = 64;

std::optional<unsigned> digit_value(char digit) {
    constexpr std::string_view kDigits = "0123456789abcdef";
    const char lower = digit >= 'A' && digit <= 'F' ? static_cast<char>(digit - 'A' + 'a') : digit;
    const size_t value = kDigits.find(lower);
    return value == std::string_view::npos ? std::nullopt
                                           : std::optional(static_cast<unsigned>(value));
}

} // namespace

std::optional<std::vector<uint64_t>> wide_value(std::string_view digits) {
    std::vector<uint64_t> words;
    uint64_t position = 0;
    for (auto digit = digits.rbegin(); digit != digits.rend(); ++digit) {
        if (*digit == '_') {
            continue;
        }
        const auto value = digit_value(*digit);
        if (!value) {
            return std::nullopt;
        }
        if (position % kWordBits == 0) {
            words.push_back(0);
        }
        words.back() |= uint64_t{*value} << (position % kWordBits);
        position += kDigitBits;
    }
    return words.empty() ? std::nullopt : std::optional(std::move(words));
}

bool fits_bits(std::span<const uint64_t> value, uint64_t bits) noexcept {
    for (size_t i = 0; i < value.size(); ++i) {
        const uint64_t start = i * kWordBits;
        const uint64_t over =
            start >= bits ? value[i] : (bits - start >= kWordBits ? 0 : value[i] >> (bits - start));
        if (over != 0) {
            return false;
        }
    }
    return true;
}

} // namespace talvor
