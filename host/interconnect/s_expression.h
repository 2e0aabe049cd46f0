// Cuts the text of an S-expression into parentheses and words.
#pragma once

#include "common/result.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace talvor::interconnect {

// One word or parenthesis; a quoted word without its quotes.
struct SToken {
    enum class Kind : uint8_t { Open, Close, Word, End };

    Kind kind = Kind::End;
    std::string text; // of a word
    uint32_t line = 1;
    uint32_t column = 1; // in bytes
};

class SLexer {
public:
    static constexpr size_t kLongestWord = 4096; // bytes
    static constexpr size_t kDeepest = 64;       // parentheses within each other

    // `name`: as errors call the text, which outlives this.
    SLexer(std::string_view text, std::string name);

    // Errors (ErrorKind::BadFile): a word without its closing quote, one that is too long,
    // parentheses too deep, one too many, or the text's end inside of some.
    [[nodiscard]] Result<SToken> next();
    // To behind the closing parenthesis of the list that next() is in.
    [[nodiscard]] Status skip_list();

    // An error at a token: "a.net:3:14".
    [[nodiscard]] Failure error(const SToken& at, std::string reason,
                                std::string next_step = {}) const;

private:
    void skip_blanks() noexcept;
    void advance() noexcept;
    [[nodiscard]] Result<SToken> quoted(SToken token);
    [[nodiscard]] Result<SToken> bare(SToken token);
    [[nodiscard]] Result<SToken> opened(SToken token);
    [[nodiscard]] Result<SToken> closed(SToken token);
    [[nodiscard]] Result<SToken> ended(SToken token) const;

    std::string_view text_;
    std::string name_;
    size_t at_ = 0;
    size_t depth_ = 0;
    uint32_t line_ = 1;
    uint32_t column_ = 1;
};

} // namespace talvor::interconnect
