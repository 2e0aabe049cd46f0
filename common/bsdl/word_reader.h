// The words of an attribute's text, which has a grammar of its own within VHDL's strings.
#pragma once

#include "common/bsdl/joined_text.h"
#include "common/bsdl/report.h"

#include <cstddef>
#include <string>
#include <string_view>

namespace talvor::bsdl {

// A mark is one of "()[],:*"; a word is all that stands between marks and blanks. The end, and all
// there is behind a fault, is empty.
struct Word {
    std::string_view text;
    size_t offset = 0;

    [[nodiscard]] bool is_end() const noexcept { return text.empty(); }
    [[nodiscard]] bool is_mark() const noexcept;
};

// Always one word ahead. `text` and `report` outlive it.
class WordReader {
public:
    // `what`: the text as messages call it, "INSTRUCTION_OPCODE".
    WordReader(const JoinedText& text, std::string what, Report& report);

    [[nodiscard]] const Word& peek() const noexcept { return word_; }
    [[nodiscard]] bool at_end() const noexcept { return word_.is_end(); }
    [[nodiscard]] bool at(char mark) const noexcept;
    [[nodiscard]] Place place() const noexcept { return place_of(word_); }
    [[nodiscard]] Place place_of(const Word& word) const noexcept {
        return text_.place_of(word.offset);
    }

    // The word that peek() shows; then it shows the next one.
    Word take();
    // Takes the mark where it comes next.
    bool take(char mark);
    // Takes the mark, or the text ends here with a fault: "expected ')' behind the opcodes of A".
    bool expect(char mark, std::string_view where);
    // Takes a word that is no mark, or the text ends here with a fault. `expected`: "a port".
    Word expect_word(std::string_view expected);
    // Takes words up to the next mark and joins them: "10 1X" for one pattern of four bits.
    std::string expect_words(std::string_view expected);
    // Behind an element of a list: whether another one follows. Takes the comma; one that is
    // missing, or has nothing behind it, is a warning. A list in parentheses ends before the ')'.
    bool more();
    // "expected EXPECTED in WHAT, found ..."; the text ends here.
    void fault(std::string_view expected);

private:
    [[nodiscard]] Word next();

    const JoinedText& text_;
    std::string what_;
    Report& report_;
    size_t offset_ = 0;
    Word word_;
};

} // namespace talvor::bsdl
