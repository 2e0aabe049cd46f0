// A place among the tokens of one statement.
#pragma once

#include "common/result.h"
#include "host/stapl/token.h"

#include <cstddef>
#include <string>
#include <string_view>

namespace talvor::stapl {

class Cursor {
public:
    // The statement ends before `end`, where its semicolon stands. The tokens outlive the cursor.
    Cursor(const Tokens& tokens, size_t first, size_t end)
        : tokens_(&tokens), next_(first), end_(end) {}

    [[nodiscard]] bool at_end(size_t ahead = 0) const noexcept { return next_ + ahead >= end_; }
    // The token at hand, or `ahead` behind it; that of the semicolon at the end.
    [[nodiscard]] const Token& peek(size_t ahead = 0) const noexcept;
    void take() noexcept { next_ += at_end() ? 0 : 1; }

    [[nodiscard]] bool is(Sign sign, size_t ahead = 0) const noexcept;
    // How far behind the token at hand that is which follows the bracket or parenthesis `ahead` and
    // everything in it; `ahead` itself where there is none.
    [[nodiscard]] size_t behind_brackets(size_t ahead) const noexcept;
    [[nodiscard]] bool is_name(size_t ahead = 0) const noexcept;
    [[nodiscard]] bool is_word(std::string_view word) const noexcept;
    // Takes it, if it is there.
    bool take(Sign sign) noexcept;
    bool take_word(std::string_view word) noexcept;

    // The name at hand, in capitals; "" when there is none.
    [[nodiscard]] std::string_view name() const noexcept;
    // Errors of these (ErrorKind::BadFile, without a place) say what was wanted.
    [[nodiscard]] Result<uint32_t> take_name(std::string_view wanted);
    [[nodiscard]] Result<std::string> take_text(std::string_view wanted);
    [[nodiscard]] Status need(Sign sign, std::string_view wanted);
    [[nodiscard]] Status need_end() const;
    // "wanted is missing, there is 'x'".
    [[nodiscard]] Failure missing(std::string_view wanted) const;

private:
    const Tokens* tokens_;
    size_t next_;
    size_t end_;
};

} // namespace talvor::stapl
