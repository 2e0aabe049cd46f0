#include "common/bsdl/lexer.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace talvor::bsdl {
namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
constexpr char kEndOfDosFile = '\x1A';
constexpr char kLatinBlank = '\xA0'; // a blank that does not break, in ISO 8859-1

bool is_letter(char c) noexcept {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_';
}

bool is_digit(char c) noexcept {
    return c >= '0' && c <= '9';
}

bool is_blank(char c) noexcept {
    return c == ' ' || c == '\t' || c == '\v' || c == '\f' || c == kEndOfDosFile ||
           c == kLatinBlank;
}

} // namespace

std::string shown(const Token& token) {
    switch (token.kind) {
    case TokenKind::End:
        return "the end of the file";
    case TokenKind::Text:
        return "a string";
    default:
        return shown(token.text);
    }
}

Lexer::Lexer(std::string_view text, Report& report) : text_(text), report_(report) {
    if (text_.starts_with(kByteOrderMark)) {
        offset_ = kByteOrderMark.size();
        line_begin_ = offset_;
    }
    token_ = next();
}

Token Lexer::take() {
    const Token taken = token_;
    token_ = next();
    return taken;
}

Place Lexer::here() const noexcept {
    return {line_, static_cast<uint32_t>(offset_ - line_begin_ + 1)};
}

void Lexer::begin_line(size_t offset) noexcept {
    ++line_;
    line_begin_ = offset;
}

void Lexer::skip_blanks() {
    while (offset_ < text_.size()) {
        const char c = text_[offset_];
        if (c == '\n' || c == '\r') {
            offset_ += c == '\r' && at(offset_ + 1) == '\n' ? 2 : 1;
            begin_line(offset_);
        } else if (is_blank(c)) {
            ++offset_;
        } else if (c == '-' && at(offset_ + 1) == '-') {
            offset_ = std::min(text_.find_first_of("\r\n", offset_), text_.size());
        } else {
            return;
        }
    }
}

Token Lexer::token(TokenKind kind, size_t length) {
    const Token made{kind, text_.substr(offset_, length), here()};
    offset_ += length;
    return made;
}

Token Lexer::fault(Place place, const std::string& reason, std::string next_step) {
    report_.fail(place, reason, std::move(next_step));
    offset_ = text_.size();
    return {TokenKind::End, {}, place};
}

size_t Lexer::name_length() const noexcept {
    size_t end = offset_;
    while (is_letter(at(end)) || is_digit(at(end))) {
        ++end;
    }
    return end - offset_;
}

// With the point and the sign of a real, and the marks around the digits of another base.
size_t Lexer::number_length() const noexcept {
    const auto is_exponent = [](char c) { return c == 'e' || c == 'E'; };
    size_t end = offset_;
    while (end < text_.size()) {
        const char c = text_[end];
        const bool point = c == '.' && is_digit(at(end + 1));
        const bool sign =
            (c == '+' || c == '-') && is_exponent(text_[end - 1]) && is_digit(at(end + 1));
        if (!is_letter(c) && !is_digit(c) && c != '#' && !point && !sign) {
            break;
        }
        ++end;
    }
    return end - offset_;
}

Token Lexer::next() {
    skip_blanks();
    if (report_.failed() || offset_ >= text_.size()) {
        return {TokenKind::End, {}, here()};
    }
    const char c = text_[offset_];
    if (is_letter(c)) {
        return token(TokenKind::Name, name_length());
    }
    if (is_digit(c)) {
        return token(TokenKind::Number, number_length());
    }
    if (c == '"') {
        return string();
    }
    return c == '\\' ? escaped_name() : mark();
}

Token Lexer::mark() {
    const char c = text_[offset_];
    const char after = at(offset_ + 1);
    if (c == '\'' && at(offset_ + 2) == '\'') {
        return token(TokenKind::Mark, 3);
    }
    if ((c == ':' && after == '=') || (c == '=' && after == '>') || (c == '<' && after == '>')) {
        return token(TokenKind::Mark, 2);
    }
    if (std::string_view("(),;:&.*[]+-/=<>|'").find(c) != std::string_view::npos) {
        return token(TokenKind::Mark, 1);
    }
    if (c > ' ' && c <= '~') {
        return fault(here(), fmt::format("{} means nothing here", shown({&c, 1})));
    }
    return fault(here(),
                 fmt::format("the byte 0x{:02X} means nothing here", static_cast<uint8_t>(c)),
                 "a BSDL file is plain text; other letters may stand in comments and strings only");
}

Token Lexer::escaped_name() {
    const size_t end = text_.find_first_of("\\\r\n", offset_ + 1);
    if (end == std::string_view::npos || text_[end] != '\\') {
        return fault(here(), "a name that begins with '\\' is not closed by another one");
    }
    return token(TokenKind::Name, end + 1 - offset_);
}

bool Lexer::may_go_on(size_t begin, size_t end) const {
    size_t line = begin;
    while ((line = text_.find('\n', line)) < end) {
        line = std::min(text_.find_first_not_of(" \t\r\n", line), text_.size());
        if (line >= end) {
            // The next line begins with a string of its own, unless this quote is the last one.
            const size_t after = text_.find_first_not_of(" \t", end + 1);
            return after == std::string_view::npos ||
                   std::string_view(";&),\r\n-").find(text_[after]) != std::string_view::npos;
        }
        for (const std::string_view word : {"attribute", "constant", "end", "use", "port"}) {
            if (same_name(text_.substr(line, word.size()), word) &&
                !is_letter(at(line + word.size()))) {
                return false;
            }
        }
    }
    return true;
}

Token Lexer::string() {
    const Place place = here();
    const size_t begin = offset_ + 1;
    size_t end = text_.find('"', begin);
    while (end != std::string_view::npos && at(end + 1) == '"') {
        end = text_.find('"', end + 2);
    }
    const size_t line_end = std::min(text_.find('\n', begin), text_.size());
    if (end == std::string_view::npos || (line_end < end && !may_go_on(begin, end))) {
        return fault(place, "the string is not closed: expected '\"' before the end of the line",
                     "close it, and join it to the next one with &");
    }
    if (line_end < end) {
        report_.warning(place, "the string goes on behind the end of its line; close it there, and "
                               "join the rest with &");
    }
    for (size_t line = line_end; line < end; line = text_.find('\n', line + 1)) {
        begin_line(line + 1);
    }
    offset_ = end + 1;
    return {TokenKind::Text, text_.substr(begin, end - begin), place};
}

} // namespace talvor::bsdl
