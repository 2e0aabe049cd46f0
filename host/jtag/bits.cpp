#include "host/jtag/bits.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cassert>
#include <cstring>

namespace talvor {

namespace {

constexpr size_t word_count(size_t length_bits) noexcept {
    return length_bits / Bits::kWordBits + (length_bits % Bits::kWordBits != 0 ? 1 : 0);
}

constexpr uint16_t low_word(uint64_t value) noexcept {
    return static_cast<uint16_t>(value & 0xFFFFU);
}

// -1 for a character that is no digit.
constexpr int digit_value(char c) noexcept {
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    const char lower = static_cast<char>(c | 0x20);
    return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

constexpr bool is_separator(char c) noexcept {
    return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '_';
}

std::string_view without_prefix(std::string_view text) {
    const size_t first = text.find_first_not_of(" \t\r\n");
    text.remove_prefix(first == std::string_view::npos ? text.size() : first);
    if (text.size() >= 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X')) {
        text.remove_prefix(2);
    }
    return text;
}

// The digits of `text` without what separates them, or what is wrong with it.
Result<std::string> digits_of(std::string_view text) {
    std::string digits;
    digits.reserve(text.size());
    for (const char c : without_prefix(text)) {
        if (digit_value(c) >= 0) {
            digits.push_back(c);
        } else if (!is_separator(c)) {
            return usage_error(std::string(text),
                               std::string("'") + c + "' is no hexadecimal digit");
        }
    }
    if (digits.empty()) {
        return usage_error(std::string(text), "there is no hexadecimal digit");
    }
    return digits;
}

} // namespace

Bits::Bits(size_t length_bits, bool value)
    : words_(word_count(length_bits), value ? uint16_t{0xFFFF} : uint16_t{0}), size_(length_bits) {
    clear_unused();
}

Bits Bits::from_uint(uint64_t value, size_t length_bits) {
    Bits bits(length_bits);
    for (size_t i = 0; i < bits.words_.size() && i < 4; ++i) {
        bits.words_[i] = low_word(value >> (i * kWordBits));
    }
    bits.clear_unused();
    return bits;
}

Bits Bits::from_words(std::span<const uint16_t> words, size_t length_bits) {
    Bits bits(length_bits);
    std::copy_n(words.begin(), std::min(words.size(), bits.words_.size()), bits.words_.begin());
    bits.clear_unused();
    return bits;
}

void Bits::assign_big_endian(std::span<const uint64_t> words, unsigned tail_digits,
                             size_t length_bits) {
    assert(words.empty() || (tail_digits >= 1 && tail_digits <= 16));
    words_.assign(word_count(length_bits), 0);
    size_ = length_bits; // see resize()
    // The value is the full words moved up by the digits of the last one, and those below them.
    const unsigned tail_bits = tail_digits * 4;
    const size_t full = words.empty() ? 0 : words.size() - 1;
    uint64_t below = words.empty() ? 0 : words.back();
    unsigned below_bits = words.empty() ? 0 : tail_bits;
    size_t out = 0;
    const auto put = [&](uint64_t value) {
        static_assert(std::endian::native == std::endian::little);
        if (words_.size() - out >= 4) {
            std::memcpy(words_.data() + out, &value, sizeof value);
            out += 4;
            return;
        }
        for (unsigned i = 0; i < 4 && out < words_.size(); ++i, ++out) {
            words_[out] = low_word(value >> (i * kWordBits));
        }
    };
    if (below_bits == 64) {
        put(below);
        below = 0;
        below_bits = 0;
    }
    for (size_t i = full; i-- > 0 && out < words_.size();) {
        put(below | (words[i] << below_bits));
        below = below_bits == 0 ? 0 : words[i] >> (64 - below_bits);
    }
    put(below);
    clear_unused();
}

Result<Bits> Bits::from_hex(std::string_view text, size_t length_bits) {
    const std::string digits = TRY(digits_of(text));
    Bits bits(length_bits);
    size_t place = 0; // of the digit's lowest bit
    for (size_t i = digits.size(); i-- > 0; place += 4) {
        const auto value = static_cast<unsigned>(digit_value(digits[i]));
        const size_t room = place < length_bits ? length_bits - place : 0;
        if (room < 4 && (value >> room) != 0) {
            return usage_error(std::string(text),
                               "the value is wider than " + std::to_string(length_bits) + " bits");
        }
        if (value != 0) {
            uint16_t& word = bits.words_[place / kWordBits];
            word = low_word(word | (value << (place % kWordBits)));
        }
    }
    return bits;
}

Result<Bits> Bits::from_hex(std::string_view text) {
    const std::string digits = TRY(digits_of(text));
    return from_hex(digits, digits.size() * 4);
}

std::string Bits::to_hex() const {
    constexpr std::string_view kDigits = "0123456789ABCDEF";
    const size_t count = (size_ + 3) / 4;
    std::string text(count, '0');
    for (size_t i = 0; i < count; ++i) {
        const size_t place = i * 4;
        text[count - 1 - i] = kDigits[(words_[place / kWordBits] >> (place % kWordBits)) & 0xFU];
    }
    return text;
}

void Bits::set(size_t index, bool value) noexcept {
    uint16_t& word = words_[index / kWordBits];
    const unsigned bit = 1U << (index % kWordBits);
    word = low_word(value ? word | bit : word & ~bit);
}

void Bits::clear_unused() noexcept {
    const size_t used = size_ % kWordBits;
    if (used != 0) {
        words_.back() = low_word(words_.back() & ((1U << used) - 1U));
    }
}

void Bits::resize(size_t length_bits, bool value) {
    // Zeros take the vector's quick way.
    if (value) {
        words_.resize(word_count(length_bits), uint16_t{0xFFFF});
    } else {
        words_.resize(word_count(length_bits));
    }
    const size_t used = size_ % kWordBits;
    if (value && used != 0 && length_bits > size_) {
        uint16_t& last = words_[size_ / kWordBits];
        last = low_word(last | (0xFFFFU << used));
    }
    size_ = length_bits; // as long as it has words, also where there is no memory for more
    clear_unused();
}

void Bits::clear() noexcept {
    size_ = 0;
    words_.clear();
}

void Bits::fill(bool value) noexcept {
    std::fill(words_.begin(), words_.end(), value ? uint16_t{0xFFFF} : uint16_t{0});
    clear_unused();
}

uint64_t Bits::to_uint(size_t offset, size_t count) const noexcept {
    if (offset >= size_ || count == 0) {
        return 0;
    }
    count = std::min({count, size_ - offset, size_t{64}});
    const size_t first = offset / kWordBits;
    const size_t shift = offset % kWordBits;
    uint64_t value = words_[first] >> shift;
    size_t have = kWordBits - shift;
    for (size_t i = first + 1; have < count; ++i, have += kWordBits) {
        value |= uint64_t{words_[i]} << have;
    }
    return count == 64 ? value : value & ((uint64_t{1} << count) - 1);
}

Bits Bits::slice(size_t offset, size_t count) const {
    assert(offset <= size_ && count <= size_ - offset);
    Bits part(count);
    const size_t first = offset / kWordBits;
    const unsigned shift = static_cast<unsigned>(offset % kWordBits);
    const size_t wanted = part.words_.size();
    if (shift == 0) {
        std::copy_n(words_.data() + first, wanted, part.words_.data());
    } else {
        const uint16_t* from = words_.data() + first;
        uint16_t* to = part.words_.data();
        const size_t pairs = std::min(wanted, words_.size() - first - (wanted == 0 ? 0 : 1));
        for (size_t i = 0; i < pairs; ++i) {
            to[i] = low_word((uint32_t{from[i]} >> shift) |
                             (uint32_t{from[i + 1]} << (kWordBits - shift)));
        }
        if (pairs < wanted) {
            to[pairs] = low_word(uint32_t{from[pairs]} >> shift);
        }
    }
    part.clear_unused();
    return part;
}

void Bits::append(const Bits& tail) {
    if (&tail == this) {
        append(Bits(tail));
        return;
    }
    append(tail.words_.data(), tail.size_);
}

void Bits::append(const uint16_t* words, size_t length_bits) {
    const size_t count = word_count(length_bits);
    const size_t first = size_ / kWordBits;
    const unsigned shift = static_cast<unsigned>(size_ % kWordBits);
    if (count == 0) {
        return;
    }
    words_.resize(word_count(size_ + length_bits), 0);
    size_ += length_bits; // see resize()
    uint16_t* to = words_.data() + first;
    if (shift == 0) {
        std::copy_n(words, count, to);
        return;
    }
    to[0] = low_word(to[0] | (uint32_t{words[0]} << shift));
    for (size_t i = 1; i < count; ++i) {
        to[i] = low_word((uint32_t{words[i]} << shift) |
                         (uint32_t{words[i - 1]} >> (kWordBits - shift)));
    }
    if (first + count < words_.size()) {
        to[count] = low_word(uint32_t{words[count - 1]} >> (kWordBits - shift));
    }
}

Bits Bits::concat(std::initializer_list<const Bits*> parts) {
    size_t total = 0;
    for (const Bits* part : parts) {
        total += part->size_;
    }
    Bits whole;
    whole.words_.reserve(word_count(total));
    for (const Bits* part : parts) {
        whole.append(*part);
    }
    return whole;
}

size_t Bits::count_ones() const noexcept {
    size_t count = 0;
    for (const uint16_t word : words_) {
        count += static_cast<size_t>(std::popcount(word));
    }
    return count;
}

bool Bits::all_zeros() const noexcept {
    return std::all_of(words_.begin(), words_.end(), [](uint16_t word) { return word == 0; });
}

Bits& Bits::operator&=(const Bits& other) noexcept {
    assert(size_ == other.size_);
    for (size_t i = 0; i < words_.size(); ++i) {
        words_[i] = low_word(words_[i] & other.words_[i]);
    }
    return *this;
}

Bits& Bits::operator|=(const Bits& other) noexcept {
    assert(size_ == other.size_);
    for (size_t i = 0; i < words_.size(); ++i) {
        words_[i] = low_word(uint32_t{words_[i]} | other.words_[i]);
    }
    return *this;
}

Bits& Bits::operator^=(const Bits& other) noexcept {
    assert(size_ == other.size_);
    for (size_t i = 0; i < words_.size(); ++i) {
        words_[i] = low_word(uint32_t{words_[i]} ^ other.words_[i]);
    }
    return *this;
}

} // namespace talvor
