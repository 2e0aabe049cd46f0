#include "host/play/mismatch.h"

#include <fmt/format.h>

#include <algorithm>
#include <bit>

namespace talvor::play {

namespace {

constexpr size_t kShownDigits = 32;

uint16_t difference(const Bits& got, const uint16_t* expected, const uint16_t* mask, size_t word) {
    const unsigned cared = mask == nullptr ? 0xFFFFU : mask[word];
    return static_cast<uint16_t>((got.words()[word] ^ expected[word]) & cared);
}

bool differs(const Bits& got, const uint16_t* expected, const uint16_t* mask) {
    const std::span<const uint16_t> words = got.words();
    if (mask == nullptr) {
        return !std::equal(words.begin(), words.end(), expected);
    }
    unsigned any = 0;
    for (size_t i = 0; i < words.size(); ++i) {
        any |= static_cast<unsigned>(words[i] ^ expected[i]) & mask[i];
    }
    return any != 0;
}

Bits copied(const uint16_t* words, size_t length_bits) {
    return Bits::from_words({words, (length_bits + Bits::kWordBits - 1) / Bits::kWordBits},
                            length_bits);
}

// The digits around `bit`, with dots where some are left out.
std::string hex_near(const Bits& bits, uint64_t bit) {
    if (bits.size() <= kShownDigits * 4) {
        return bits.to_hex();
    }
    constexpr size_t kWindow = kShownDigits * 4;
    const size_t whole = (bits.size() + 3) / 4 * 4;
    size_t low = bit / 4 * 4;
    low = low < kWindow / 2 ? 0 : std::min<size_t>(low - kWindow / 2, whole - kWindow);
    const size_t count = std::min(kWindow, bits.size() - low);
    return fmt::format("{}{}{}", low + count < bits.size() ? "..." : "",
                       bits.slice(low, count).to_hex(), low != 0 ? "..." : "");
}

std::string listed(const Mismatch& mismatch) {
    std::string text;
    for (const uint64_t bit : mismatch.first_bits) {
        text += fmt::format("{}{}", text.empty() ? "" : ", ", bit);
    }
    return mismatch.differing_bits > mismatch.first_bits.size() ? text + " ..." : text;
}

} // namespace

std::optional<Mismatch> compare(const Bits& got, const uint16_t* expected, const uint16_t* mask) {
    if (!differs(got, expected, mask)) {
        return std::nullopt;
    }
    Mismatch mismatch;
    for (size_t i = 0; i < got.words().size(); ++i) {
        unsigned word = difference(got, expected, mask, i);
        mismatch.differing_bits += static_cast<uint64_t>(std::popcount(word));
        for (; word != 0 && mismatch.first_bits.size() < Mismatch::kMaxFirstBits;
             word &= word - 1) {
            mismatch.first_bits.push_back(i * Bits::kWordBits +
                                          static_cast<uint64_t>(std::countr_zero(word)));
        }
    }
    mismatch.expected = copied(expected, got.size());
    mismatch.got = got;
    mismatch.mask = mask == nullptr ? Bits::ones(got.size()) : copied(mask, got.size());
    return mismatch;
}

bool looks_like_idcode(uint64_t length_bits, const uint16_t* expected, const uint16_t* mask) {
    constexpr uint64_t kIdCodeBits = 32;
    const auto bit = [](const uint16_t* words, uint64_t at) {
        return ((words[at / Bits::kWordBits] >> at % Bits::kWordBits) & 1U) != 0;
    };
    uint64_t codes = 0;
    uint64_t at = 0;
    while (at < length_bits) {
        const bool begins = bit(expected, at);
        codes += begins ? 1 : 0;
        at += begins ? kIdCodeBits : 1;
    }
    if (at != length_bits || codes == 0 || mask == nullptr) {
        return at == length_bits && codes != 0;
    }
    uint64_t compared = 0;
    for (at = 0; at < length_bits; ++at) {
        compared += bit(mask, at) ? 1 : 0;
    }
    return 2 * compared > length_bits;
}

Error to_error(const Mismatch& mismatch, std::string_view source_name) {
    const uint64_t first = mismatch.first_bits.empty() ? 0 : mismatch.first_bits.front();
    return {ErrorKind::Target, 0, fmt::format("{}:{}", source_name, mismatch.line),
            fmt::format("{}: {} of {} bits differ, at {}: expected {}, got {}, mask {}",
                        mismatch.statement, mismatch.differing_bits, mismatch.expected.size(),
                        listed(mismatch), hex_near(mismatch.expected, first),
                        hex_near(mismatch.got, first), hex_near(mismatch.mask, first)),
            ""};
}

} // namespace talvor::play
