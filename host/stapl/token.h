// The tokens of a STAPL file, all of them: control flow may lead anywhere.
#pragma once

#include "host/jtag/bits.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace talvor::stapl {

// Signs of one character are that character.
enum class Sign : uint8_t {
    Colon = ':',
    Semicolon = ';',
    Comma = ',',
    Equals = '=',
    LeftBracket = '[',
    RightBracket = ']',
    LeftParenthesis = '(',
    RightParenthesis = ')',
    Plus = '+',
    Minus = '-',
    Times = '*',
    Divide = '/',
    Remainder = '%',
    Not = '!',
    Complement = '~',
    And = '&',
    Or = '|',
    Xor = '^',
    Less = '<',
    Greater = '>',
    AndAlso = 128, // &&
    OrElse,        // ||
    Same,          // ==
    NotSame,       // !=
    NotMore,       // <=
    NotLess,       // >=
    ShiftLeft,     // <<
    ShiftRight,    // >>
    To,            // ..
};

struct Token {
    enum class Kind : uint8_t {
        End,     // of the file
        Name,    // value: its place in the names, in capitals
        Number,  // value: its 32 bits
        Text,    // value: its place in the texts, without quotes
        Literal, // value: its place in the literals
        Sign,    // value: a Sign
        Wrong,   // value: the place in the texts of what is wrong with it
    };
    Kind kind = Kind::End;
    uint32_t line = 1;
    uint32_t offset = 0; // of its first byte in the file
    uint32_t value = 0;
};

// The value of a Boolean array as it is written: #1011, $C0DE, @... .
struct Literal {
    Bits bits;
    // How many bits a character stands for, and for compressed data 8: the array that it belongs to
    // may end within the last of them.
    uint32_t unit_bits = 1;
    bool compressed = false;
};

struct Tokens {
    std::vector<Token> list; // the last one is End
    std::vector<std::string> names;
    std::vector<std::string> texts;
    std::vector<Literal> literals;
    uint64_t bytes = 0; // of the file
    // The checksum of what stands before the word CRC, if a statement begins with it.
    std::optional<uint16_t> crc;
};

} // namespace talvor::stapl
