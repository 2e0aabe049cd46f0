#include "host/interconnect/s_expression.h"

#include <fmt/format.h>

#include <utility>

namespace talvor::interconnect {
namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

bool is_blank(char c) noexcept {
    return c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '\f' || c == '\v';
}

// What stands behind a backslash in a quoted word.
char unescaped(char c) noexcept {
    switch (c) {
    case 'n':
        return '\n';
    case 'r':
        return '\r';
    case 't':
        return '\t';
    default:
        return c;
    }
}

} // namespace

SLexer::SLexer(std::string_view text, std::string name) : text_(text), name_(std::move(name)) {
    if (text_.starts_with(kByteOrderMark)) {
        at_ = kByteOrderMark.size();
    }
}

Failure SLexer::error(const SToken& at, std::string reason, std::string next_step) const {
    return file_error(fmt::format("{}:{}:{}", name_, at.line, at.column), std::move(reason),
                      std::move(next_step));
}

void SLexer::advance() noexcept {
    if (text_[at_++] == '\n') {
        ++line_;
        column_ = 1;
    } else {
        ++column_;
    }
}

void SLexer::skip_blanks() noexcept {
    while (at_ < text_.size() && is_blank(text_[at_])) {
        advance();
    }
}

Result<SToken> SLexer::next() {
    skip_blanks();
    SToken token;
    token.line = line_;
    token.column = column_;
    if (at_ == text_.size()) {
        return ended(std::move(token));
    }
    switch (text_[at_]) {
    case '(':
        return opened(std::move(token));
    case ')':
        return closed(std::move(token));
    case '"':
        return quoted(std::move(token));
    default:
        return bare(std::move(token));
    }
}

Result<SToken> SLexer::ended(SToken token) const {
    if (depth_ != 0) {
        return error(token, fmt::format("the file ends where {} more ) is due", depth_),
                     "export the netlist again: this one was cut short");
    }
    return token;
}

Result<SToken> SLexer::opened(SToken token) {
    if (++depth_ > kDeepest) {
        return error(token, fmt::format("more than {} lists within each other", kDeepest),
                     "give a netlist as KiCad exports it");
    }
    advance();
    token.kind = SToken::Kind::Open;
    return token;
}

Result<SToken> SLexer::closed(SToken token) {
    if (depth_ == 0) {
        return error(token, "a ) that closes nothing");
    }
    --depth_;
    advance();
    token.kind = SToken::Kind::Close;
    return token;
}

Result<SToken> SLexer::quoted(SToken token) {
    token.kind = SToken::Kind::Word;
    advance();
    while (at_ < text_.size() && text_[at_] != '"') {
        const bool escape = text_[at_] == '\\' && at_ + 1 < text_.size();
        if (escape) {
            advance();
        }
        token.text += escape ? unescaped(text_[at_]) : text_[at_];
        advance();
        if (token.text.size() > kLongestWord) {
            return error(token, fmt::format("a word of more than {} bytes", kLongestWord),
                         "is its closing quote missing?");
        }
    }
    if (at_ == text_.size()) {
        return error(token, "a word whose closing quote is missing");
    }
    advance();
    return token;
}

Result<SToken> SLexer::bare(SToken token) {
    token.kind = SToken::Kind::Word;
    while (at_ < text_.size() && !is_blank(text_[at_]) &&
           std::string_view("()\"").find(text_[at_]) == std::string_view::npos) {
        token.text += text_[at_];
        advance();
        if (token.text.size() > kLongestWord) {
            return error(token, fmt::format("a word of more than {} bytes", kLongestWord));
        }
    }
    return token;
}

Status SLexer::skip_list() {
    const size_t outside = depth_ == 0 ? 0 : depth_ - 1;
    while (depth_ > outside) {
        if (TRY(next()).kind == SToken::Kind::End) {
            break;
        }
    }
    return {};
}

} // namespace talvor::interconnect
