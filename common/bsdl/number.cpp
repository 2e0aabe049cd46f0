#include "common/bsdl/number.h"

#include <charconv>
#include <cmath>
#include <string>

namespace talvor::bsdl {
namespace {

constexpr uint64_t kMost = uint64_t{1} << 62U;

uint32_t digit_value(char c) noexcept {
    if (c >= '0' && c <= '9') {
        return static_cast<uint32_t>(c - '0');
    }
    const char lower = static_cast<char>(c | 0x20);
    return lower >= 'a' && lower <= 'f' ? static_cast<uint32_t>(lower - 'a') + 10 : 99;
}

// Digits with '_' between them.
std::optional<uint64_t> digits_value(std::string_view text, uint32_t base) noexcept {
    uint64_t value = 0;
    bool any = false;
    for (const char c : text) {
        if (c == '_' && any) {
            continue;
        }
        const uint32_t digit = digit_value(c);
        if (digit >= base || value > (kMost - digit) / base) {
            return std::nullopt;
        }
        value = value * base + digit;
        any = true;
    }
    return any ? std::optional(value) : std::nullopt;
}

// `value` times `base` to the power that `text` gives as "E4".
std::optional<uint64_t> scaled(uint64_t value, uint32_t base, std::string_view text) noexcept {
    if (text.empty()) {
        return value;
    }
    std::string_view digits = text.substr(1);
    digits.remove_prefix(digits.starts_with('+') ? 1 : 0);
    const auto exponent = digits_value(digits, 10);
    if ((text[0] != 'e' && text[0] != 'E') || !exponent) {
        return std::nullopt;
    }
    for (uint64_t i = 0; i < *exponent && value != 0; ++i) {
        if (value > kMost / base) {
            return std::nullopt;
        }
        value *= base;
    }
    return value;
}

std::optional<uint64_t> based_value(std::string_view text, size_t mark) noexcept {
    constexpr uint64_t kLargestBase = 16;
    const auto base = digits_value(text.substr(0, mark), 10);
    const size_t end = text.find('#', mark + 1);
    if (!base || *base < 2 || *base > kLargestBase || end == std::string_view::npos) {
        return std::nullopt;
    }
    const auto base_bits = static_cast<uint32_t>(*base);
    const auto value = digits_value(text.substr(mark + 1, end - mark - 1), base_bits);
    return value ? scaled(*value, base_bits, text.substr(end + 1)) : std::nullopt;
}

} // namespace

std::optional<int64_t> integer_value(std::string_view text) noexcept {
    std::optional<uint64_t> value;
    if (const size_t mark = text.find('#'); mark != std::string_view::npos) {
        value = based_value(text, mark);
    } else {
        const size_t exponent = text.find_first_of("eE");
        value = digits_value(text.substr(0, exponent), 10);
        if (value && exponent != std::string_view::npos) {
            value = scaled(*value, 10, text.substr(exponent));
        }
    }
    return value ? std::optional(static_cast<int64_t>(*value)) : std::nullopt;
}

std::optional<double> real_value(std::string_view text) {
    if (const auto whole = integer_value(text)) {
        return static_cast<double>(*whole);
    }
    std::string plain;
    for (const char c : text) {
        if (c != '_') {
            plain += c;
        }
    }
    // What stands in front of the digits, or is no digit, is no number of VHDL's.
    if (plain.empty() || plain[0] < '0' || plain[0] > '9') {
        return std::nullopt;
    }
    // The C++ library takes no '+' in front of a number, but one behind an E it does.
    double value = 0;
    const auto [end, fault] = std::from_chars(plain.data(), plain.data() + plain.size(), value);
    const bool whole = fault == std::errc() && end == plain.data() + plain.size();
    return whole && std::isfinite(value) ? std::optional(value) : std::nullopt;
}

} // namespace talvor::bsdl
