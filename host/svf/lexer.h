// Cuts the bytes of an SVF file into words, parentheses and semicolons.
#pragma once

#include "common/result.h"
#include "host/play/source.h"
#include "host/svf/hex.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace talvor::svf {

struct Token {
    enum class Kind : uint8_t { Word, Open, Close, Semicolon, End, Failed };

    Kind kind = Kind::End;
    std::string_view text; // of a word, in capitals; good until the next call of the lexer
    uint64_t line = 1;
    uint64_t key = 0; // of a word: word_key(text)

    [[nodiscard]] bool is_word() const noexcept { return kind == Kind::Word; }
    // Whether it is this word of up to eight characters.
    [[nodiscard]] bool is(uint64_t word) const noexcept {
        return kind == Kind::Word && key == word && text.size() <= 8;
    }
};

// Comments and blanks vanish here, wherever they stand, and a byte-order mark of UTF-8 at the
// start. Holds one chunk of the source and the hex value at hand, and nothing else that grows.
class Lexer {
public:
    explicit Lexer(play::ByteSource& source) : source_(source) {}

    // The next token. Failed: failure() tells why (ErrorKind::BadFile): the file cannot be read, a
    // character that means nothing, a word longer than any that SVF knows.
    void next(Token& token);
    [[nodiscard]] const Failure& failure() const noexcept { return failure_; }

    // After an opening parenthesis: the value up to the closing one, which is taken too. `what`
    // names the value in messages. Errors: no digit, a character that is none, a value wider than
    // `length_bits`, the end of the file.
    [[nodiscard]] Status read_hex(std::string_view statement, std::string_view parameter,
                                  size_t length_bits, Bits& value);

    // What is left of the chunk at hand.
    [[nodiscard]] std::string_view rest_of_chunk() const noexcept { return {at_, end_}; }
    // Takes `length` bytes of it, among them so many newlines.
    void take(size_t length, uint64_t newlines) noexcept {
        at_ += length;
        line_ += newlines;
    }
    // What has been taken since bytes_taken() was `mark`; empty when a part of it is gone.
    [[nodiscard]] std::string_view text_since(uint64_t mark) const noexcept {
        return mark < bytes_before_ ? std::string_view()
                                    : std::string_view{begin_ + (mark - bytes_before_), at_};
    }

    // Takes everything up to and with the next semicolon, whatever it is.
    [[nodiscard]] Status skip_statement();

    [[nodiscard]] uint64_t line() const noexcept { return line_; }
    [[nodiscard]] uint64_t bytes_taken() const noexcept {
        return bytes_before_ + static_cast<uint64_t>(at_ - begin_);
    }

    // An error of this file at `line`.
    [[nodiscard]] Failure error(uint64_t line, std::string reason,
                                std::string next_step = "") const;

    // Called before each further chunk is read; false ends the reading with an error.
    void on_chunk(std::function<bool()> hook) { chunk_hook_ = std::move(hook); }

private:
    static constexpr int kEnd = -1;
    static constexpr int kFailed = -2;
    static constexpr size_t kMaxWord = 64;

    int peek();
    bool refill();
    int skip_blanks();
    void skip_comment();
    [[nodiscard]] bool skip_byte_order_mark();
    void read_word(Token& token);
    void copy_word(Token& token);
    void take_mark(Token& token, Token::Kind kind, std::string_view text);
    void fail(Token& token, Failure failure);
    [[nodiscard]] Failure bad_character(int c) const;
    [[nodiscard]] Failure bad_hex(int c, uint64_t first_line, const std::string& what) const;

    play::ByteSource& source_;
    std::function<bool()> chunk_hook_;
    const char* begin_ = nullptr;
    const char* at_ = nullptr;
    const char* end_ = nullptr;
    uint64_t bytes_before_ = 0;
    uint64_t line_ = 1;
    bool at_start_ = true; // of the file
    Status source_status_;
    Failure failure_{Error{}};
    std::array<char, kMaxWord> word_{};
    HexReader hex_;
};

} // namespace talvor::svf
