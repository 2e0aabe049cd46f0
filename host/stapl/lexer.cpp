#include "host/stapl/lexer.h"

#include "host/stapl/aca.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>

namespace talvor::stapl {

namespace {

constexpr uint64_t kLargestNumber = uint64_t{1} << 31; // behind a minus

bool is_blank(int character) {
    return character == ' ' || (character >= '\t' && character <= '\r') || character == 0x1A;
}

bool is_name_character(int character) {
    return (character >= '0' && character <= '9') || (character >= 'A' && character <= 'Z') ||
           (character >= 'a' && character <= 'z') || character == '_';
}

bool is_digit(char character) {
    return character >= '0' && character <= '9';
}

// Of the digits that carry so many bits, or -1.
int digit_value(char character, uint32_t unit_bits) {
    int value = -1;
    if (is_digit(character)) {
        value = character - '0';
    } else if (const int letter = std::toupper(static_cast<unsigned char>(character));
               letter >= 'A' && letter <= 'F') {
        value = letter - 'A' + 10;
    }
    return value < (1 << unit_bits) ? value : -1;
}

bool are_digits(std::string_view text, uint32_t unit_bits) {
    return std::all_of(text.begin(), text.end(),
                       [unit_bits](char one) { return digit_value(one, unit_bits) >= 0; });
}

std::string in_capitals(std::string text) {
    for (char& one : text) {
        one = static_cast<char>(std::toupper(static_cast<unsigned char>(one)));
    }
    return text;
}

// The last digit carries the lowest bits.
Bits bits_of(std::string_view digits, uint32_t unit_bits) {
    Bits bits(digits.size() * unit_bits);
    const std::span<uint16_t> words = bits.words();
    size_t place = 0;
    for (auto digit = digits.rbegin(); digit != digits.rend(); ++digit, place += unit_bits) {
        uint16_t& word = words[place / Bits::kWordBits];
        word = static_cast<uint16_t>(word | (static_cast<unsigned>(digit_value(*digit, unit_bits))
                                             << (place % Bits::kWordBits)));
    }
    return bits;
}

Bits bits_of(const std::vector<uint8_t>& bytes) {
    Bits bits(bytes.size() * 8);
    const std::span<uint16_t> words = bits.words();
    for (size_t i = 0; i < bytes.size(); ++i) {
        words[i / 2] = static_cast<uint16_t>(words[i / 2] | (bytes[i] << (i % 2 * 8)));
    }
    return bits;
}

std::string shown(int character) {
    return character >= 0x20 && character < 0x7F ? fmt::format("'{}'", static_cast<char>(character))
                                                 : fmt::format("a byte of 0x{:02X}", character);
}

} // namespace

// ---- characters ---------------------------------------------------------------------------------

Status Lexer::next_chunk() {
    if (hook_ && !hook_()) {
        return usage_error(source_.name(), "stopped on request");
    }
    chunk_ = TRY(source_.next_chunk());
    next_ = 0;
    over_ = chunk_.empty();
    if (offset_ + chunk_.size() > limits_.max_file_bytes) {
        return file_error(source_.name(), fmt::format("has more than the {} bytes that this player "
                                                      "takes of a STAPL file",
                                                      limits_.max_file_bytes));
    }
    return {};
}

Result<int> Lexer::peek() {
    if (next_ == chunk_.size()) {
        if (over_) {
            return kNone;
        }
        TRY(next_chunk());
        if (over_) {
            return kNone;
        }
    }
    return static_cast<unsigned char>(chunk_[next_]);
}

void Lexer::take() noexcept {
    const char character = chunk_[next_++];
    crc_.add(character);
    ++offset_;
    line_ += character == '\n' ? 1 : 0;
}

Status Lexer::skip_comment() {
    for (int character = TRY(peek()); character != kNone && character != '\n';
         character = TRY(peek())) {
        take();
    }
    return {};
}

Status Lexer::skip_blanks() {
    while (true) {
        const int character = TRY(peek());
        if (character == '\'') {
            TRY(skip_comment());
        } else if (is_blank(character)) {
            take();
        } else {
            return {};
        }
    }
}

// ---- tokens -------------------------------------------------------------------------------------

Result<Tokens> Lexer::read() {
    TRY(source_.rewind());
    TRY(skip_byte_order_mark());
    while (true) {
        TRY(skip_blanks());
        begin_token();
        const int first = TRY(peek());
        if (first == kNone) {
            break;
        }
        TRY(token(first));
    }
    add(Token::Kind::End, 0);
    tokens_.bytes = offset_;
    return std::move(tokens_);
}

// Editors leave it; nothing else begins so.
Status Lexer::skip_byte_order_mark() {
    for (const int byte : {0xEF, 0xBB, 0xBF}) {
        if (TRY(peek()) == byte) {
            take();
        }
    }
    return {};
}

void Lexer::begin_token() noexcept {
    at_.line = line_;
    at_.offset = static_cast<uint32_t>(offset_);
    crc_before_ = crc_.value();
}

bool Lexer::at_statement_start() const {
    return tokens_.list.empty() ||
           (tokens_.list.back().kind == Token::Kind::Sign &&
            tokens_.list.back().value == static_cast<uint32_t>(Sign::Semicolon));
}

void Lexer::add(Token::Kind kind, uint32_t value) {
    tokens_.list.push_back({kind, at_.line, at_.offset, value});
}

void Lexer::add_wrong(std::string reason) {
    add(Token::Kind::Wrong, static_cast<uint32_t>(tokens_.texts.size()));
    tokens_.texts.push_back(std::move(reason));
}

void Lexer::add_name(const std::string& text) {
    std::string name = in_capitals(text);
    const auto [found, is_new] =
        places_.try_emplace(std::move(name), static_cast<uint32_t>(tokens_.names.size()));
    if (is_new) {
        tokens_.names.push_back(found->first);
    }
    add(Token::Kind::Name, found->second);
}

Status Lexer::token(int first) {
    if (first >= '0' && first <= '9') {
        return number();
    }
    if (is_name_character(first)) {
        return word();
    }
    switch (first) {
    case '"':
        return text();
    case '#':
        take();
        return digits(1);
    case '$':
        take();
        return digits(4);
    case '@':
        take();
        return compressed();
    default:
        return sign(first);
    }
}

Status Lexer::take_word(std::string& text) {
    for (int character = TRY(peek()); is_name_character(character); character = TRY(peek())) {
        text += static_cast<char>(character);
        take();
    }
    return {};
}

// CHR$ is the one name with another character in it.
Status Lexer::word() {
    const bool first = at_statement_start();
    const uint16_t crc = crc_before_;
    std::string text;
    TRY(take_word(text));
    if (TRY(peek()) == '$' && in_capitals(text) == "CHR") {
        text += '$';
        take();
    }
    add_name(text);
    if (first && in_capitals(text) == "CRC") {
        tokens_.crc = crc;
        return checksum();
    }
    return {};
}

// Its digits are hexadecimal without a sign before them.
Status Lexer::checksum() {
    TRY(skip_blanks());
    begin_token();
    std::string digits;
    TRY(take_word(digits));
    if (digits.empty() || digits.size() > 4 || !are_digits(digits, 4)) {
        add_wrong("a checksum has four hexadecimal digits");
    } else {
        add(Token::Kind::Number, static_cast<uint32_t>(std::strtoul(digits.c_str(), nullptr, 16)));
    }
    return {};
}

Status Lexer::number() {
    std::string text;
    TRY(take_word(text));
    if (!std::all_of(text.begin(), text.end(), is_digit)) {
        add_wrong(fmt::format("'{:.32}' is neither a number nor a name", text));
        return {};
    }
    uint64_t value = 0;
    for (const char digit : text) {
        value = std::min(value * 10 + static_cast<uint64_t>(digit - '0'), kLargestNumber + 1);
    }
    if (value > kLargestNumber) {
        add_wrong(fmt::format("{:.32} does not fit into the 32 bits of an integer", text));
    } else {
        add(Token::Kind::Number, static_cast<uint32_t>(value));
    }
    return {};
}

Status Lexer::text() {
    take();
    std::string text;
    while (true) {
        const int character = TRY(peek());
        if (character == kNone) {
            add_wrong("the file ends inside a text in quotes");
            return {};
        }
        take();
        if (character == '"') {
            break;
        }
        text += static_cast<char>(character);
    }
    add(Token::Kind::Text, static_cast<uint32_t>(tokens_.texts.size()));
    tokens_.texts.push_back(std::move(text));
    return {};
}

Status Lexer::sign(int first) {
    constexpr std::string_view kSigns = ":;,=[]()+-*/%!~&|^<>.";
    take();
    if (kSigns.find(static_cast<char>(first)) == std::string_view::npos) {
        add_wrong(shown(first) + " means nothing here");
        return {};
    }
    return sign_of_two(first);
}

Status Lexer::sign_of_two(int first) {
    struct Pair {
        char first;
        char second;
        Sign sign;
    };
    constexpr std::array kPairs{
        Pair{'&', '&', Sign::AndAlso},   Pair{'|', '|', Sign::OrElse},
        Pair{'=', '=', Sign::Same},      Pair{'!', '=', Sign::NotSame},
        Pair{'<', '=', Sign::NotMore},   Pair{'>', '=', Sign::NotLess},
        Pair{'<', '<', Sign::ShiftLeft}, Pair{'>', '>', Sign::ShiftRight},
        Pair{'.', '.', Sign::To},
    };
    const int second = TRY(peek());
    const auto* pair = std::find_if(kPairs.begin(), kPairs.end(), [=](const Pair& one) {
        return one.first == first && one.second == second;
    });
    if (pair != kPairs.end()) {
        take();
        add(Token::Kind::Sign, static_cast<uint32_t>(pair->sign));
    } else if (first == '.') {
        add_wrong("a dot alone means nothing here");
    } else {
        add(Token::Kind::Sign, static_cast<uint32_t>(first));
    }
    return {};
}

// ---- literals -----------------------------------------------------------------------------------

void Lexer::add_literal(Literal literal) {
    literal_bytes_ += literal.bits.size() / 8 + 1;
    if (literal_bytes_ > limits_.max_literal_bytes) {
        literal_bytes_ = limits_.max_literal_bytes;
        add_wrong(fmt::format("the arrays have more than the {} bytes that this player takes",
                              limits_.max_literal_bytes));
        return;
    }
    add(Token::Kind::Literal, static_cast<uint32_t>(tokens_.literals.size()));
    tokens_.literals.push_back(std::move(literal));
}

// Digits may have blanks, line ends and comments between them. A word behind a blank goes on with
// the digits only when it has nothing but digits.
Status Lexer::digits(uint32_t unit_bits) {
    std::string digits;
    while (true) {
        TRY(skip_blanks());
        const Token before = at_;
        const uint32_t line = line_;
        const uint64_t offset = offset_;
        std::string more;
        TRY(take_word(more));
        if (!more.empty() && are_digits(more, unit_bits)) {
            digits += more;
            continue;
        }
        if (digits.empty()) {
            add_wrong(unit_bits == 1 ? "there is no binary digit behind '#'"
                                     : "there is no hexadecimal digit behind '$'");
        } else {
            add_literal({bits_of(digits, unit_bits), unit_bits, false});
        }
        if (!more.empty()) {
            at_ = {before.kind, line, static_cast<uint32_t>(offset), 0};
            add_name(more);
        }
        return {};
    }
}

// Blanks, line ends and comments do not count. What is no character of it ends the data.
Status Lexer::compressed() {
    std::string characters;
    for (int next = TRY(peek());; next = TRY(peek())) {
        if (next == '\'' || is_blank(next)) {
            TRY(skip_blanks());
        } else if (next == kNone || aca_value(static_cast<char>(next)) < 0) {
            break;
        } else {
            characters += static_cast<char>(next);
            take();
        }
    }
    const Result<std::vector<uint8_t>> bytes =
        expand_aca(characters, limits_.max_literal_bytes - literal_bytes_);
    if (bytes) {
        add_literal({bits_of(*bytes), 8, true});
    } else {
        add_wrong(bytes.error().reason);
    }
    return {};
}

} // namespace talvor::stapl
