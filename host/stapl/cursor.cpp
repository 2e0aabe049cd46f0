#include "host/stapl/cursor.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>

namespace talvor::stapl {

namespace {

std::string text_of(Sign sign) {
    constexpr std::array<std::string_view, 9> kLong{
        "&&", "||", "==", "!=", "<=", ">=", "<<", ">>", ".."};
    const auto code = static_cast<size_t>(sign);
    const auto first = static_cast<size_t>(Sign::AndAlso);
    return code < first ? std::string(1, static_cast<char>(code))
                        : std::string(kLong[code - first]);
}

std::string text_of(const Tokens& tokens, const Token& token) {
    switch (token.kind) {
    case Token::Kind::End:
        return "the end of the file";
    case Token::Kind::Name:
        return fmt::format("'{:.64}'", tokens.names[token.value]);
    case Token::Kind::Number:
        return fmt::format("'{}'", token.value);
    case Token::Kind::Text:
        return "a text in quotes";
    case Token::Kind::Literal:
        return "the value of an array";
    case Token::Kind::Sign:
        return fmt::format("'{}'", text_of(static_cast<Sign>(token.value)));
    case Token::Kind::Wrong:
        return tokens.texts[token.value];
    }
    return "";
}

} // namespace

const Token& Cursor::peek(size_t ahead) const noexcept {
    return tokens_->list[std::min(next_ + ahead, end_)];
}

bool Cursor::is(Sign sign, size_t ahead) const noexcept {
    const Token& token = peek(ahead);
    return next_ + ahead < end_ && token.kind == Token::Kind::Sign &&
           token.value == static_cast<uint32_t>(sign);
}

size_t Cursor::behind_brackets(size_t ahead) const noexcept {
    size_t open = 0;
    for (size_t at = ahead; !at_end(at); ++at) {
        if (is(Sign::LeftBracket, at) || is(Sign::LeftParenthesis, at)) {
            ++open;
        } else if (open != 0 && (is(Sign::RightBracket, at) || is(Sign::RightParenthesis, at))) {
            --open;
        }
        if (open == 0) {
            const bool any = is(Sign::RightBracket, at) || is(Sign::RightParenthesis, at);
            return any && at != ahead ? at + 1 : ahead;
        }
    }
    return ahead;
}

bool Cursor::is_name(size_t ahead) const noexcept {
    return peek(ahead).kind == Token::Kind::Name;
}

bool Cursor::is_word(std::string_view word) const noexcept {
    return name() == word;
}

bool Cursor::take(Sign sign) noexcept {
    const bool there = is(sign);
    next_ += there ? 1 : 0;
    return there;
}

bool Cursor::take_word(std::string_view word) noexcept {
    const bool there = is_word(word);
    next_ += there ? 1 : 0;
    return there;
}

std::string_view Cursor::name() const noexcept {
    return is_name() ? std::string_view(tokens_->names[peek().value]) : std::string_view();
}

Result<uint32_t> Cursor::take_name(std::string_view wanted) {
    if (!is_name()) {
        return missing(wanted);
    }
    const uint32_t place = peek().value;
    take();
    return place;
}

Result<std::string> Cursor::take_text(std::string_view wanted) {
    if (peek().kind != Token::Kind::Text) {
        return missing(wanted);
    }
    std::string text = tokens_->texts[peek().value];
    take();
    return text;
}

Status Cursor::need(Sign sign, std::string_view wanted) {
    return take(sign) ? Status() : missing(wanted);
}

Status Cursor::need_end() const {
    return at_end() ? Status() : missing("the ';' that ends the statement");
}

Failure Cursor::missing(std::string_view wanted) const {
    if (peek().kind == Token::Kind::Wrong) {
        return file_error("", text_of(*tokens_, peek()));
    }
    return file_error("",
                      fmt::format("{} is missing, there is {}", wanted, text_of(*tokens_, peek())));
}

} // namespace talvor::stapl
