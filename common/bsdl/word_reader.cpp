#include "common/bsdl/word_reader.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <utility>

namespace talvor::bsdl {
namespace {

enum class Kind : uint8_t { Letter, Blank, Mark };

// Of every byte.
constexpr std::array<Kind, 256> kKinds = [] {
    std::array<Kind, 256> kinds{};
    for (const char c : {' ', '\t', '\r', '\n', '\v', '\f'}) {
        kinds[static_cast<uint8_t>(c)] = Kind::Blank;
    }
    for (const char c : {'(', ')', '[', ']', ',', ':', '*'}) {
        kinds[static_cast<uint8_t>(c)] = Kind::Mark;
    }
    return kinds;
}();

Kind kind_of(char c) noexcept {
    return kKinds[static_cast<uint8_t>(c)];
}

} // namespace

bool Word::is_mark() const noexcept {
    return text.size() == 1 && kind_of(text[0]) == Kind::Mark;
}

WordReader::WordReader(const JoinedText& text, std::string what, Report& report)
    : text_(text), what_(std::move(what)), report_(report), word_(next()) {}

bool WordReader::at(char mark) const noexcept {
    return word_.text.size() == 1 && word_.text[0] == mark;
}

Word WordReader::next() {
    const std::string_view text = text_.text();
    while (offset_ < text.size() && kind_of(text[offset_]) == Kind::Blank) {
        ++offset_;
    }
    if (report_.failed() || offset_ == text.size()) {
        return {{}, offset_};
    }
    size_t end = offset_ + 1;
    if (text[offset_] == '\\') {
        end = std::min(text.find('\\', end), text.size() - 1) + 1;
    } else if (kind_of(text[offset_]) == Kind::Letter) {
        while (end < text.size() && kind_of(text[end]) == Kind::Letter) {
            ++end;
        }
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

void WordReader::fault(std::string_view expected) {
    report_.fail(place(), fmt::format("expected {} in {}, found {}", expected, what_,
                                      at_end() ? "the end of its text" : shown(word_.text)));
    word_ = {{}, word_.offset};
}

bool WordReader::expect(char mark, std::string_view where) {
    if (take(mark)) {
        return true;
    }
    fault(fmt::format("'{}' {}", mark, where));
    return false;
}

Word WordReader::expect_word(std::string_view expected) {
    if (at_end() || word_.is_mark()) {
        fault(expected);
        return word_;
    }
    return take();
}

std::string WordReader::expect_words(std::string_view expected) {
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
