#include "host/svf/lexer.h"

#include "host/svf/keyword.h"

#include <fmt/format.h>

#include <cstring>

namespace talvor::svf {

namespace {

constexpr bool is_blank(int c) noexcept {
    return c == ' ' || (c >= '\t' && c <= '\r');
}

// The capital of each character that a word may hold, and 0 for all others.
constexpr std::array<char, 256> kWordCharacters = [] {
    std::array<char, 256> capitals{};
    for (const char c : std::string_view("0123456789.+-_ABCDEFGHIJKLMNOPQRSTUVWXYZ")) {
        capitals[static_cast<unsigned char>(c)] = c;
    }
    for (char c = 'a'; c <= 'z'; ++c) {
        capitals[static_cast<unsigned char>(c)] = static_cast<char>(c - 'a' + 'A');
    }
    return capitals;
}();

constexpr char word_character(int c) noexcept {
    return c < 0 ? '\0' : kWordCharacters[static_cast<size_t>(c)];
}

constexpr bool is_word_character(int c) noexcept {
    return word_character(c) != '\0';
}

} // namespace

int Lexer::peek() {
    if (at_ == end_ && !refill()) {
        return source_status_ ? kEnd : kFailed;
    }
    return static_cast<unsigned char>(*at_);
}

bool Lexer::refill() {
    if (!source_status_) {
        return false;
    }
    if (begin_ != nullptr && chunk_hook_ && !chunk_hook_()) {
        source_status_ = usage_error(source_.name(), "stopped on request");
        return false;
    }
    const auto chunk = source_.next_chunk();
    if (!chunk) {
        source_status_ = Failure(chunk.error());
        return false;
    }
    bytes_before_ += static_cast<uint64_t>(end_ - begin_);
    begin_ = at_ = chunk->data();
    end_ = begin_ + chunk->size();
    return at_ != end_;
}

void Lexer::skip_comment() {
    do {
        const auto left = static_cast<size_t>(end_ - at_);
        const void* const newline = left == 0 ? nullptr : std::memchr(at_, '\n', left);
        if (newline != nullptr) {
            at_ = static_cast<const char*>(newline);
            return;
        }
        at_ = end_;
    } while (refill());
}

// Some editors put one in front; false: what stands there begins like one and is none.
bool Lexer::skip_byte_order_mark() {
    at_start_ = false;
    if (peek() != 0xEF) {
        return true;
    }
    for (const int byte : {0xEF, 0xBB, 0xBF}) {
        if (peek() != byte) {
            return false;
        }
        ++at_;
    }
    return true;
}

// The next character that is neither blank nor comment; it is not taken. A single '/' is answered
// although it is taken already: nothing but an error can follow.
int Lexer::skip_blanks() {
    while (true) {
        const char* at = at_;
        for (; at != end_ && is_blank(static_cast<unsigned char>(*at)); ++at) {
            line_ += *at == '\n' ? 1 : 0;
        }
        at_ = at;
        const int c = peek();
        if (c == '!') {
            skip_comment();
        } else if (c == '/') {
            ++at_;
            if (const int second = peek(); second != '/') {
                return second == kFailed ? kFailed : '/';
            }
            skip_comment();
        } else if (!is_blank(c)) {
            return c;
        }
    }
}

Failure Lexer::error(uint64_t line, std::string reason, std::string next_step) const {
    return file_error(fmt::format("{}:{}", source_.name(), line), std::move(reason),
                      std::move(next_step));
}

Failure Lexer::bad_character(int c) const {
    if (c > ' ' && c < 0x7F) {
        return error(line_, fmt::format("'{}' means nothing here", static_cast<char>(c)));
    }
    return error(line_, fmt::format("a byte of 0x{:02X} means nothing here", c),
                 "check that this is an SVF file: a text, not a programmed image");
}

void Lexer::take_mark(Token& token, Token::Kind kind, std::string_view text) {
    ++at_;
    token.kind = kind;
    token.text = text;
}

void Lexer::fail(Token& token, Failure failure) {
    failure_ = std::move(failure);
    token = Token{Token::Kind::Failed, {}, line_, 0};
}

// A word that stands whole and in capitals in the chunk is not copied.
void Lexer::read_word(Token& token) {
    uint64_t key = 0;
    unsigned changed = 0;
    for (const char* at = at_; at != end_; ++at) {
        const char c = word_character(static_cast<unsigned char>(*at));
        if (c == '\0') {
            const auto length = static_cast<size_t>(at - at_);
            if (changed != 0 || length > kMaxWord) {
                break;
            }
            token.kind = Token::Kind::Word;
            token.text = {at_, length};
            token.key = key;
            at_ = at;
            return;
        }
        key = (key << 8) | static_cast<unsigned char>(c);
        changed |= static_cast<unsigned char>(c ^ *at);
    }
    copy_word(token);
}

// Any word.
void Lexer::copy_word(Token& token) {
    size_t length = 0;
    token.key = 0;
    do {
        for (; at_ != end_; ++at_) {
            const char c = word_character(static_cast<unsigned char>(*at_));
            if (c == '\0') {
                token.kind = Token::Kind::Word;
                token.text = {word_.data(), length};
                return;
            }
            if (length == kMaxWord) {
                fail(token,
                     error(token.line, fmt::format("a word longer than {} characters", kMaxWord)));
                return;
            }
            word_[length++] = c;
            token.key = (token.key << 8) | static_cast<unsigned char>(c);
        }
    } while (refill());
    if (!source_status_) { // what has come of it may be half a word
        fail(token, Failure(source_status_.error()));
        return;
    }
    token.kind = Token::Kind::Word;
    token.text = {word_.data(), length};
}

void Lexer::next(Token& token) {
    if (at_start_ && !skip_byte_order_mark()) {
        fail(token, bad_character(0xEF));
        return;
    }
    const int c = skip_blanks();
    token.line = line_;
    switch (c) {
    case '(':
        return take_mark(token, Token::Kind::Open, "(");
    case ')':
        return take_mark(token, Token::Kind::Close, ")");
    case ';':
        return take_mark(token, Token::Kind::Semicolon, ";");
    case kFailed:
        return fail(token, Failure(source_status_.error()));
    case kEnd:
        token.kind = Token::Kind::End;
        token.text = {};
        return;
    default:
        return is_word_character(c) ? read_word(token) : fail(token, bad_character(c));
    }
}

Failure Lexer::bad_hex(int c, uint64_t first_line, const std::string& what) const {
    if (c == kFailed) {
        return Failure(source_status_.error());
    }
    if (c == kEnd) {
        return error(first_line, fmt::format("the file ends inside the value of {}", what),
                     "the file may be cut short");
    }
    if (c == ';') {
        return error(line_, fmt::format("the value of {} has no closing parenthesis", what));
    }
    if (!is_word_character(c)) {
        return bad_character(c);
    }
    return error(line_, fmt::format("'{}' is no hexadecimal digit, in the value of {}",
                                    static_cast<char>(c), what));
}

Status Lexer::read_hex(std::string_view statement, std::string_view parameter, size_t length_bits,
                       Bits& value) {
    // Most values stand in one piece, with as many digits as their length asks for.
    if (const char* const behind = read_whole_hex(at_, end_, length_bits, value)) {
        at_ = behind;
        return {};
    }
    const auto what = [&] { return fmt::format("{} {}", statement, parameter); };
    const uint64_t first_line = line_;
    hex_.begin(length_bits);
    while (true) {
        const int c = skip_blanks();
        if (HexReader::is_digit(c)) {
            at_ = hex_.feed(at_, end_);
            continue;
        }
        if (c == ')') {
            ++at_;
            break;
        }
        return bad_hex(c, first_line, what());
    }
    if (!hex_.has_digits()) {
        return error(first_line, fmt::format("the value of {} has no digit", what()));
    }
    if (hex_.too_wide()) {
        return error(first_line,
                     fmt::format("the value of {} is wider than its {} bits", what(), length_bits));
    }
    hex_.finish(value);
    return {};
}

Status Lexer::skip_statement() {
    const uint64_t first_line = line_;
    while (true) {
        const int c = skip_blanks();
        if (c == kFailed) {
            return Failure(source_status_.error());
        }
        if (c == kEnd) {
            return error(first_line, "the statement does not end with ';'");
        }
        if (c != '/') {
            ++at_;
        }
        if (c == ';') {
            return {};
        }
    }
}

} // namespace talvor::svf
