// A vector of bits as they go through a scan chain.
#pragma once

#include "common/result.h"

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace talvor {

// Bit 0 is shifted first. The bits lie in 16-bit words, bit 0 in the lowest bit of word 0, as the
// driver's scan buffers want them; the unused bits of the last word are always 0.
class Bits {
public:
    static constexpr size_t kWordBits = 16;

    Bits() = default;
    // `length_bits` bits, all `value`.
    explicit Bits(size_t length_bits, bool value = false);

    [[nodiscard]] static Bits ones(size_t length_bits) { return Bits(length_bits, true); }
    // The low `length_bits` bits of `value`; bits above 63 are 0.
    [[nodiscard]] static Bits from_uint(uint64_t value, size_t length_bits);
    // The first `length_bits` bits of `words`; bits that `words` does not hold are 0.
    [[nodiscard]] static Bits from_words(std::span<const uint16_t> words, size_t length_bits);
    // A number of which `digits` are the hexadecimal digits, most significant first. `words` holds
    // sixteen digits each, most significant word first; the last one holds only `tail_digits`
    // (1 to 16) of them, in its low bits. The value is extended with zeros or cut to `length_bits`.
    // Reuses the memory of this vector.
    void assign_big_endian(std::span<const uint64_t> words, unsigned tail_digits,
                           size_t length_bits);

    // Hexadecimal text, most significant digit first, with or without 0x; blanks and '_' between
    // digits are skipped. A short value is extended with zeros. Errors (ErrorKind::Usage): no
    // digit, a character that is none, a value wider than `length_bits`.
    [[nodiscard]] static Result<Bits> from_hex(std::string_view text, size_t length_bits);
    // The same, as long as the digits say: four bits each.
    [[nodiscard]] static Result<Bits> from_hex(std::string_view text);

    // Upper-case digits, most significant first, (size() + 3) / 4 of them; "" when empty.
    [[nodiscard]] std::string to_hex() const;

    [[nodiscard]] size_t size() const noexcept { return size_; }
    [[nodiscard]] bool empty() const noexcept { return size_ == 0; }

    // Bit `index`, which must be below size().
    [[nodiscard]] bool operator[](size_t index) const noexcept {
        return ((words_[index / kWordBits] >> (index % kWordBits)) & 1U) != 0;
    }
    void set(size_t index, bool value) noexcept;

    // The words that hold the bits: (size() + 15) / 16 of them. Who writes through the second form
    // calls clear_unused() afterwards unless the unused bits of the last word stayed 0.
    [[nodiscard]] std::span<const uint16_t> words() const noexcept { return words_; }
    [[nodiscard]] std::span<uint16_t> words() noexcept { return words_; }
    void clear_unused() noexcept;

    // Keeps the bits that remain; new ones are `value`.
    void resize(size_t length_bits, bool value = false);
    void clear() noexcept;
    void fill(bool value) noexcept;

    // Up to 64 bits from `offset` as a number; bits beyond the end read 0.
    [[nodiscard]] uint64_t to_uint(size_t offset = 0, size_t count = 64) const noexcept;

    // `count` bits from `offset`; offset + count must not be above size().
    [[nodiscard]] Bits slice(size_t offset, size_t count) const;
    // `tail` is shifted after what is here.
    void append(const Bits& tail);
    // The same for the words of `length_bits` bits, whose unused bits are 0 and which are not this
    // vector's own.
    void append(const uint16_t* words, size_t length_bits);
    // The parts one after the other, the first one shifted first.
    [[nodiscard]] static Bits concat(std::initializer_list<const Bits*> parts);

    [[nodiscard]] size_t count_ones() const noexcept;
    [[nodiscard]] bool all_ones() const noexcept { return count_ones() == size_; }
    [[nodiscard]] bool all_zeros() const noexcept;

    // Bit by bit; both sides must be of one size.
    Bits& operator&=(const Bits& other) noexcept;
    Bits& operator|=(const Bits& other) noexcept;
    Bits& operator^=(const Bits& other) noexcept;

    friend bool operator==(const Bits&, const Bits&) = default;
    friend void swap(Bits& one, Bits& other) noexcept {
        std::swap(one.size_, other.size_);
        one.words_.swap(other.words_);
    }

private:
    std::vector<uint16_t> words_; // first: a copy that finds no memory leaves the size, too
    size_t size_ = 0;
};

} // namespace talvor
