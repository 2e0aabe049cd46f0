#include "host/svf/hex.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <emmintrin.h>

namespace talvor::svf {

namespace {

constexpr uint8_t kNoDigit = 0xFF;

constexpr std::array<uint8_t, 256> kDigits = [] {
    std::array<uint8_t, 256> values{};
    values.fill(kNoDigit);
    for (unsigned i = 0; i < 10; ++i) {
        values['0' + i] = static_cast<uint8_t>(i);
    }
    for (unsigned i = 0; i < 6; ++i) {
        values['A' + i] = static_cast<uint8_t>(10 + i);
        values['a' + i] = static_cast<uint8_t>(10 + i);
    }
    return values;
}();

constexpr uint64_t each_byte(uint64_t value) {
    return value * 0x0101010101010101U;
}

// Eight characters at once. The first one is in the lowest byte of `text`.
// Every byte lies below 0x80 when it is added to, so no sum carries into its neighbour; bit 7 of a
// sum tells whether the byte reached the bound.
constexpr bool are_digits(uint64_t text) {
    const uint64_t lower = text | each_byte(0x20);
    const uint64_t decimal = (text + each_byte(0x80 - '0')) & ~(text + each_byte(0x7F - '9'));
    const uint64_t letter = (lower + each_byte(0x80 - 'a')) & ~(lower + each_byte(0x7F - 'f'));
    return (text & each_byte(0x80)) == 0 &&
           ((decimal | letter) & each_byte(0x80)) == each_byte(0x80);
}

// The number that eight digits write.
constexpr uint64_t eight_digits(uint64_t text) {
    const uint64_t letters = (text >> 6) & each_byte(1);
    uint64_t value = (text & each_byte(0x0F)) + letters * 9;
    value = ((value << 4) | (value >> 8)) & 0x00FF00FF00FF00FFU;
    value = ((value << 8) | (value >> 16)) & 0x0000FFFF0000FFFFU;
    return ((value << 16) | (value >> 32)) & 0xFFFFFFFFU;
}

uint64_t load_eight(const char* from) {
    static_assert(std::endian::native == std::endian::little);
    uint64_t text = 0;
    std::memcpy(&text, from, sizeof text);
    return text;
}

static_assert(are_digits(0x6665646362613938U) && eight_digits(0x6665646362613938U) == 0x89ABCDEFU);
static_assert(!are_digits(0x3030303030303A30U) && !are_digits(0x3030303030301030U));

// Whether sixteen characters are digits; then `value` is the number that they write.
bool sixteen_digits(const char* from, uint64_t& value) {
    const auto each = [](char byte) { return _mm_set1_epi8(byte); };
    const auto at_most = [each](__m128i bytes, char most) {
        return _mm_cmpeq_epi8(_mm_min_epu8(bytes, each(most)), bytes);
    };
    const __m128i text = _mm_loadu_si128(reinterpret_cast<const __m128i*>(from));
    const __m128i decimal = _mm_sub_epi8(text, each('0'));
    const __m128i letter = _mm_sub_epi8(_mm_or_si128(text, each(0x20)), each('a'));
    const __m128i is_decimal = at_most(decimal, 9);
    const __m128i is_letter = at_most(letter, 5);
    if (_mm_movemask_epi8(_mm_or_si128(is_decimal, is_letter)) != 0xFFFF) {
        return false;
    }
    const __m128i digits = _mm_or_si128(_mm_and_si128(is_decimal, decimal),
                                        _mm_and_si128(is_letter, _mm_add_epi8(letter, each(10))));
    // Two digits make a byte; the first of them is the upper one and stands in the lower byte.
    const __m128i bytes = _mm_and_si128(
        _mm_or_si128(_mm_slli_epi16(digits, 4), _mm_srli_epi16(digits, 8)), _mm_set1_epi16(0xFF));
    const auto packed = static_cast<uint64_t>(_mm_cvtsi128_si64(_mm_packus_epi16(bytes, bytes)));
    value = __builtin_bswap64(packed);
    return true;
}

// The digits of [from, from + count), at most fifteen of them; `bad` becomes true when one is none.
uint64_t few_digits(const char* from, size_t count, bool& bad) {
    uint64_t number = 0;
    for (size_t i = 0; i < count; ++i) {
        const uint8_t value = kDigits[static_cast<unsigned char>(from[i])];
        bad |= value == kNoDigit;
        number = (number << 4) | (value & 0xFU);
    }
    return number;
}

} // namespace

// From the last digit on, which is bit 0: four words at a time.
const char* read_whole_hex(const char* from, const char* end, size_t length_bits, Bits& value) {
    const size_t digits = length_bits / 4 + (length_bits % 4 != 0 ? 1 : 0);
    if (digits == 0 || static_cast<size_t>(end - from) <= digits || from[digits] != ')') {
        return nullptr;
    }
    if (value.size() != length_bits) {
        value.resize(length_bits);
    }
    uint16_t* out = value.words().data();
    const char* at = from + digits;
    for (; at - from >= 16; out += 4) {
        at -= 16;
        uint64_t words = 0;
        if (!sixteen_digits(at, words)) {
            return nullptr;
        }
        std::memcpy(out, &words, sizeof words);
    }
    bool bad = false;
    uint64_t rest = few_digits(from, static_cast<size_t>(at - from), bad);
    for (uint16_t* const last = value.words().data() + value.words().size(); out != last; ++out) {
        *out = static_cast<uint16_t>(rest & 0xFFFFU);
        rest >>= 16;
    }
    const unsigned top = kDigits[static_cast<unsigned char>(*from)];
    const bool wide = length_bits % 4 != 0 && (top >> (length_bits % 4)) != 0;
    return bad || wide ? nullptr : from + digits + 1;
}

bool HexReader::is_digit(int c) noexcept {
    return c >= 0 && kDigits[static_cast<size_t>(c)] != kNoDigit;
}

void HexReader::begin(size_t length_bits) {
    length_bits_ = length_bits;
    max_digits_ = length_bits / 4 + (length_bits % 4 != 0 ? 1 : 0);
    digits_ = 0;
    top_digit_ = 0;
    has_digits_ = false;
    overflow_ = false;
    partial_ = 0;
    partial_digits_ = 0;
    words_.clear();
    words_.reserve(max_digits_ / 16 + 1);
}

const char* HexReader::feed(const char* from, const char* end) {
    const char* const start = from;
    if (digits_ == 0) {
        while (from != end && *from == '0') {
            ++from;
        }
    }
    while (true) {
        // A value starts and ends digit by digit; between, words are taken whole.
        if (digits_ != 0) {
            from = take_words(from, end);
            if (end - from >= 8 && are_digits(load_eight(from))) {
                take_eight(eight_digits(load_eight(from)));
                from += 8;
            }
        }
        const uint8_t value = from == end ? kNoDigit : kDigits[static_cast<unsigned char>(*from)];
        if (value == kNoDigit) {
            break;
        }
        take_digit(value);
        ++from;
    }
    has_digits_ = has_digits_ || from != start;
    return from;
}

// Sixteen digits at a time, as long as they fit the value. The last word at hand may hold some
// digits already: each word is made of these and the upper ones of the next sixteen.
const char* HexReader::take_words(const char* from, const char* end) {
    constexpr size_t kAtOnce = 16; // a line of text is rarely longer
    const unsigned held_bits = partial_digits_ * 4;
    size_t room = 0;
    size_t taken = 0;
    do {
        const size_t before = words_.size();
        room =
            std::min({(max_digits_ - digits_) / 16, static_cast<size_t>(end - from) / 16, kAtOnce});
        words_.resize(before + room);
        for (taken = 0; taken != room; ++taken, from += 16) {
            uint64_t value = 0;
            if (!sixteen_digits(from, value)) {
                break;
            }
            if (held_bits == 0) {
                words_[before + taken] = value;
            } else {
                words_[before + taken] = (partial_ << (64 - held_bits)) | (value >> held_bits);
                partial_ = value & ((uint64_t{1} << held_bits) - 1);
            }
        }
        words_.resize(before + taken);
        digits_ += taken * 16;
    } while (taken == kAtOnce);
    return from;
}

void HexReader::take_digit(uint64_t value) {
    if (digits_ == max_digits_) {
        overflow_ = true;
        return;
    }
    if (digits_ == 0) {
        top_digit_ = static_cast<unsigned>(value);
    }
    ++digits_;
    partial_ = (partial_ << 4) | value;
    if (++partial_digits_ == 16) {
        words_.push_back(partial_);
        partial_ = 0;
        partial_digits_ = 0;
    }
}

void HexReader::take_eight(uint64_t value) {
    if (max_digits_ - digits_ < 8) {
        overflow_ = true;
        return;
    }
    digits_ += 8;
    if (partial_digits_ < 8) {
        partial_ = (partial_ << 32) | value;
        partial_digits_ += 8;
        return;
    }
    // The upper digits fill the word, the lower ones begin the next.
    partial_digits_ -= 8;
    const unsigned rest_bits = partial_digits_ * 4;
    words_.push_back((partial_ << (32 - rest_bits)) | (value >> rest_bits));
    partial_ = value & ((uint64_t{1} << rest_bits) - 1);
}

bool HexReader::too_wide() const noexcept {
    if (overflow_) {
        return true;
    }
    return digits_ != 0 &&
           (digits_ - 1) * 4 + static_cast<size_t>(std::bit_width(top_digit_)) > length_bits_;
}

void HexReader::finish(Bits& bits) {
    unsigned tail_digits = 16;
    if (partial_digits_ != 0) {
        words_.push_back(partial_);
        tail_digits = partial_digits_;
    }
    bits.assign_big_endian(words_, tail_digits, length_bits_);
}

} // namespace talvor::svf
