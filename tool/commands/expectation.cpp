#include "tool/commands/expectation.h"

#include "host/jtag/bits.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <charconv>

namespace talvor {
namespace {

// The first of them that a result has is its main value.
constexpr std::array kMainValues{"out", "state"};

bool has_prefix(std::string_view text) {
    return text.starts_with("0x") || text.starts_with("0X");
}

// A number as bits: hexadecimal with 0x, or decimal.
std::optional<Bits> number_of(std::string_view text) {
    if (has_prefix(text)) {
        const Result<Bits> bits = Bits::from_hex(text);
        return bits ? std::optional(*bits) : std::nullopt;
    }
    uint64_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size()) {
        return std::nullopt;
    }
    constexpr size_t kBits = 64;
    return Bits::from_uint(value, kBits);
}

Bits masked(Bits bits, const std::optional<Bits>& mask, size_t size) {
    bits.resize(size);
    for (size_t i = 0; mask && i < bits.words().size(); ++i) {
        bits.words()[i] &= i < mask->words().size() ? mask->words()[i] : uint16_t{0};
    }
    return bits;
}

bool equal_numbers(const Bits& expected, const Bits& got, const std::optional<Bits>& mask) {
    const size_t size = std::max(expected.size(), got.size());
    return masked(expected, mask, size) == masked(got, mask, size);
}

struct Found {
    std::string path;
    const Json* value = nullptr;
};

Result<Found> value_of(const Expectation& expectation, const std::optional<Json>& result) {
    if (!result) {
        return usage_error("expect", "no command has had a result yet");
    }
    if (!expectation.path.empty()) {
        if (const Json* value = result->find(expectation.path)) {
            return Found{expectation.path, value};
        }
        return usage_error(expectation.path, "the last result has no such member",
                           "run its command with --json to see what it has");
    }
    for (const char* name : kMainValues) {
        if (const Json* value = result->find(name)) {
            return Found{name, value};
        }
    }
    return usage_error("expect", "the last result has more than one value",
                       "name one, as in: expect devices.0.idcode 0x1A2B3C4D");
}

} // namespace

Result<Comparison> compare(const Expectation& expectation, const std::optional<Json>& result) {
    const Found found = TRY(value_of(expectation, result));
    const std::optional<std::string> got = found.value->scalar_text();
    if (!got) {
        return usage_error(found.path, "is no single value",
                           "name one in it, as in: expect devices.0.idcode 0x1A2B3C4D");
    }
    Comparison comparison{found.path, expectation.value, *got, expectation.value == *got};
    const std::optional<Bits> wanted = number_of(expectation.value);
    const std::optional<Bits> seen = number_of(*got);
    std::optional<Bits> mask;
    if (!expectation.mask.empty()) {
        mask = TRY(Bits::from_hex(expectation.mask).map_error([&](Error error) {
            error.thing = "--mask";
            return error;
        }));
        if (!wanted || !seen) {
            return usage_error("--mask", "is for numbers");
        }
    }
    if (wanted && seen) {
        comparison.equal = equal_numbers(*wanted, *seen, mask);
    }
    return comparison;
}

} // namespace talvor
