#include "common/bsdl/word_reader.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace talvor::bsdl {
namespace {

constexpr std::string_view kMarks = "()[],:*";
constexpr std::string_view kBlanks = " \t\r\n\v\f";
constexpr std::string_view kWordEnds = "()[],:* \t\r\n\v\f";

} // namespace

bool Word::is_mark() const noexcept {
    return text.size() == 1 && kMarks.find(text[0]) != std::string_view::npos;
}

WordReader::WordReader(const JoinedText& text, std::string what, Report& report)
    : text_(text), what_(std::move(what)), report_(report), word_(next()) {}

bool WordReader::at(char mark) const noexcept {
    return word_.text.size() == 1 && word_.text[0] == mark;
}

Word WordReader::next() {
    const std::string_view text = text_.text();
    offset_ = std::min(text.find_first_not_of(kBlanks, offset_), text.size());
    if (report_.failed() || offset_ == text.size()) {
        return {{}, offset_};
    }
    size_t end = offset_ + 1;
    if (text[offset_] == '\\') {
        end = std::min(text.find('\\', end), text.size() - 1) + 1;
    } else if (kMarks.find(text[offset_]) == std::string_view::npos) {
        end = std::min(text.find_first_of(kWordEnds, end), text.size());
    }
    const Word word{text.substr(offset_, end - offset_), offset_};
    offset_ = end;
    return word;
}

Word WordReader::take() {
    const Word taken = word_;
    word_ = next();
    return taken;
}

bool WordReader::take(char mark) {
    if (!at(mark)) {
        return false;
    }
    (void)take();
    return true;
}

void WordReader::fault(const std::string& expected) {
    report_.fail(place(), fmt::format("expected {} in {}, found {}", expected, what_,
                                      at_end() ? "the end of its text" : shown(word_.text)));
    word_ = {{}, word_.offset};
}

bool WordReader::expect(char mark, const std::string& where) {
    if (take(mark)) {
        return true;
    }
    fault(fmt::format("'{}' {}", mark, where));
    return false;
}

Word WordReader::expect_word(const std::string& expected) {
    if (at_end() || word_.is_mark()) {
        fault(expected);
        return word_;
    }
    return take();
}

std::string WordReader::expect_words(const std::string& expected) {
    std::string joined(expect_word(expected).text);
    while (!at_end() && !word_.is_mark()) {
        joined += take().text;
    }
    return joined;
}

bool WordReader::more() {
    if (at_end() || at(')')) {
        return false;
    }
    if (!take(',')) {
        report_.warning(place(),
                        fmt::format("a ',' is missing in {} before {}", what_, shown(word_.text)));
        return true;
    }
    if (at_end() || at(')')) {
        report_.warning(place(), fmt::format("there is nothing behind the last ',' in {}", what_));
        return false;
    }
    return true;
}

} // namespace talvor::bsdl
