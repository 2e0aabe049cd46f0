// From the bytes of a STAPL file to its tokens.
#pragma once

#include "common/result.h"
#include "host/play/source.h"
#include "host/stapl/crc.h"
#include "host/stapl/token.h"

#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>

namespace talvor::stapl {

struct LexerLimits {
    uint64_t max_file_bytes = uint64_t{1} << 30;
    // Of all literals together, when they are expanded.
    uint64_t max_literal_bytes = uint64_t{1} << 28;
};

class Lexer {
public:
    // `hook` is called now and then; false ends the reading. The source outlives the lexer.
    Lexer(play::ByteSource& source, const LexerLimits& limits, std::function<bool()> hook)
        : source_(source), limits_(limits), hook_(std::move(hook)) {}

    // All tokens, from the source's start. What is no token of STAPL is one of the kind Wrong: it
    // may stand where nobody looks. Errors (ErrorKind::BadFile): the file cannot be read or is too
    // big. (ErrorKind::Usage): the hook wants to stop.
    [[nodiscard]] Result<Tokens> read();

private:
    static constexpr int kNone = -1; // no character: the file is over

    [[nodiscard]] Status next_chunk();
    [[nodiscard]] Result<int> peek();
    void take() noexcept;
    [[nodiscard]] Status skip_byte_order_mark();
    [[nodiscard]] Status skip_blanks();
    [[nodiscard]] Status skip_comment();
    [[nodiscard]] Status token(int first);
    [[nodiscard]] Status take_word(std::string& text);
    [[nodiscard]] Status word();
    [[nodiscard]] Status checksum();
    [[nodiscard]] Status number();
    [[nodiscard]] Status text();
    [[nodiscard]] Status sign(int first);
    [[nodiscard]] Status sign_of_two(int first);
    [[nodiscard]] Status digits(uint32_t unit_bits);
    [[nodiscard]] Status compressed();
    void add(Token::Kind kind, uint32_t value);
    void add_wrong(std::string reason);
    void add_name(const std::string& text);
    void add_literal(Literal literal);
    void begin_token() noexcept;
    [[nodiscard]] bool at_statement_start() const;

    play::ByteSource& source_;
    LexerLimits limits_;
    std::function<bool()> hook_;
    std::span<const char> chunk_;
    size_t next_ = 0; // in the chunk
    bool over_ = false;
    uint64_t offset_ = 0;
    uint32_t line_ = 1;
    Crc crc_;
    Token at_; // the token at hand, of which line and offset are known
    uint16_t crc_before_ = 0;
    uint64_t literal_bytes_ = 0;
    Tokens tokens_;
    std::unordered_map<std::string, uint32_t> places_;
};

} // namespace talvor::stapl
