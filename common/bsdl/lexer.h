// The tokens of a BSDL file, which are VHDL's.
#pragma once

#include "common/bsdl/model.h"
#include "common/bsdl/report.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace talvor::bsdl {

enum class TokenKind : uint8_t {
    End,    // of the file, and all there is behind a fault
    Name,   // what begins with a letter, or stands between two '\'
    Number, // what begins with a digit
    Text,   // a string, without its quotes; a quote in it stands twice
    Mark,   // one of the others, or ":=", "=>", "<>", or a character in apostrophes
};

struct Token {
    TokenKind kind = TokenKind::End;
    std::string_view text; // a part of the file
    Place place;

    [[nodiscard]] bool is(std::string_view mark) const noexcept {
        return kind == TokenKind::Mark && text == mark;
    }
    [[nodiscard]] bool is_word(std::string_view word) const noexcept {
        return kind == TokenKind::Name && same_name(text, word);
    }
};

// A token as messages show it: "'port'", "a string", "the end of the file".
[[nodiscard]] std::string shown(const Token& token);

// Always one token ahead. `text` and `report` outlive it.
class Lexer {
public:
    Lexer(std::string_view text, Report& report);

    [[nodiscard]] const Token& peek() const noexcept { return token_; }
    // The token that peek() shows; then it shows the next one.
    Token take();

private:
    [[nodiscard]] Place here() const noexcept;
    [[nodiscard]] char at(size_t offset) const noexcept {
        return offset < text_.size() ? text_[offset] : '\0';
    }
    void skip_blanks();
    void begin_line(size_t offset) noexcept;
    Token next();
    Token token(TokenKind kind, size_t length);
    Token string();
    Token escaped_name();
    Token mark();
    Token fault(Place place, const std::string& reason, std::string next_step = {});
    [[nodiscard]] size_t name_length() const noexcept;
    [[nodiscard]] size_t number_length() const noexcept;
    // A string that goes on behind the end of its line; false: it was meant to end there.
    [[nodiscard]] bool may_go_on(size_t begin, size_t end) const;

    std::string_view text_;
    Report& report_;
    size_t offset_ = 0;
    size_t line_begin_ = 0;
    uint32_t line_ = 1;
    Token token_;
};

} // namespace talvor::bsdl
