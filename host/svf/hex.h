// Turns hexadecimal text into bits while it streams by.
#pragma once

#include "host/jtag/bits.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace talvor::svf {

// The value at the start of [from, end) when it is one stretch of digits, exactly as many as
// `length_bits` bits need (at least one), no wider, and followed by a closing parenthesis: `value`
// becomes it, and the answer is what stands behind the parenthesis. Otherwise null, and `value` is
// anything.
[[nodiscard]] const char* read_whole_hex(const char* from, const char* end, size_t length_bits,
                                         Bits& value);

// Collects the digits of one value, most significant first, in any number of pieces. The text
// itself is not kept, and never more digits than the value may have. One reader serves many values
// and reuses its memory.
class HexReader {
public:
    // Whether `c`, a byte or something negative, is a hexadecimal digit.
    [[nodiscard]] static bool is_digit(int c) noexcept;

    // Begins a value of at most `length_bits` bits.
    void begin(size_t length_bits);

    // Takes the digits at the start of [from, end) and answers the first character that is none.
    const char* feed(const char* from, const char* end);

    // Whether any digit came, zeros included.
    [[nodiscard]] bool has_digits() const noexcept { return has_digits_; }
    // Whether the value needs more bits than begin() allowed.
    [[nodiscard]] bool too_wide() const noexcept;
    // Gives the value to `bits`, extended with zeros to the length of begin(). Not for a value that
    // is too wide.
    void finish(Bits& bits);

private:
    void take_digit(uint64_t value);
    const char* take_words(const char* from, const char* end);
    // Eight digits that do not begin a value.
    void take_eight(uint64_t value);

    size_t length_bits_ = 0;
    size_t max_digits_ = 0;
    size_t digits_ = 0;      // without leading zeros
    unsigned top_digit_ = 0; // the first of them
    bool has_digits_ = false;
    bool overflow_ = false; // more digits than max_digits_
    uint64_t partial_ = 0;  // digits that do not fill a word yet
    unsigned partial_digits_ = 0;
    std::vector<uint64_t> words_; // sixteen digits each, the most significant word first
};

} // namespace talvor::svf
