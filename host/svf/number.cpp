#include "host/svf/number.h"

#include <charconv>
#include <cmath>

namespace talvor::svf {

namespace {

constexpr double kExactWhole = 9007199254740992.0; // 2^53: above it a real skips whole numbers

std::string_view without_plus(std::string_view word) noexcept {
    if (word.starts_with('+') && !word.starts_with("+-")) {
        word.remove_prefix(1);
    }
    return word;
}

} // namespace

bool looks_like_number(std::string_view word) noexcept {
    return !word.empty() && ((word[0] >= '0' && word[0] <= '9') || word[0] == '.' ||
                             word[0] == '+' || word[0] == '-');
}

std::optional<double> to_real(std::string_view word) noexcept {
    word = without_plus(word);
    double value = 0;
    const auto [end, failure] = std::from_chars(word.data(), word.data() + word.size(), value);
    if (failure != std::errc() || end != word.data() + word.size() || !std::isfinite(value)) {
        return std::nullopt;
    }
    return value;
}

std::optional<uint64_t> to_whole(std::string_view word) noexcept {
    const std::string_view digits = without_plus(word);
    uint64_t value = 0;
    const auto [end, failure] =
        std::from_chars(digits.data(), digits.data() + digits.size(), value);
    if (failure == std::errc() && end == digits.data() + digits.size()) {
        return value;
    }
    const std::optional<double> real = to_real(word);
    if (!real || *real < 0 || *real > kExactWhole || *real != std::floor(*real)) {
        return std::nullopt;
    }
    return static_cast<uint64_t>(*real);
}

} // namespace talvor::svf
