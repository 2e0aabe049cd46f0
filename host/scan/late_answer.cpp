#include "host/scan/late_answer.h"

#include "common/text.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdlib>

namespace talvor {
namespace {

// The link delay has as many steps.
constexpr int kMostLate = 31;
// So many bits must be the same, and not all of one level.
constexpr size_t kProofBits = 16;

bool same_part(const Bits& first, const Bits& second) {
    return first.size() >= kProofBits && !first.all_ones() && !first.all_zeros() && first == second;
}

// Whether `late` lags behind `early` by so many bits.
bool lags(const Bits& late, const Bits& early, size_t bits) {
    if (late.size() != early.size() || bits >= late.size()) {
        return false;
    }
    const size_t rest = late.size() - bits;
    return same_part(late.slice(bits, rest), early.slice(0, rest));
}

} // namespace

std::optional<int> bits_late(const Bits& expected, const Bits& received) {
    for (int bits = 1; bits <= kMostLate; ++bits) {
        if (lags(received, expected, static_cast<size_t>(bits))) {
            return bits;
        }
        if (lags(expected, received, static_cast<size_t>(bits))) {
            return -bits;
        }
    }
    return std::nullopt;
}

std::string next_step_for_idcodes(const Bits& expected, const Bits& received) {
    const std::optional<int> late = bits_late(expected, received);
    if (!late) {
        return "it is another device, unless bits are lost on the way: 'talvor chain' lists what "
               "is there";
    }
    return fmt::format(
        "the answer comes {} {}, so the link delay is wrong: find the right one with "
        "'talvor link find'",
        count_text(static_cast<uint64_t>(std::abs(*late)), "test clock"),
        *late > 0 ? "late" : "early");
}

} // namespace talvor
