#include "common/bsdl/joined_text.h"

#include "common/utf8.h"

#include <algorithm>

namespace talvor::bsdl {
namespace {

bool is_utf8(std::string_view text) noexcept {
    for (size_t offset = 0; offset < text.size();) {
        const size_t bytes = utf8_bytes(text, offset);
        if (bytes == 0) {
            return false;
        }
        offset += bytes;
    }
    return true;
}

std::string from_latin1(std::string_view text) {
    std::string utf8;
    for (const char c : text) {
        const auto byte = static_cast<uint8_t>(c);
        if (byte < 0x80) {
            utf8 += c;
        } else {
            utf8 += static_cast<char>(0xC0U | byte >> 6U);
            utf8 += static_cast<char>(0x80U | (byte & 0x3FU));
        }
    }
    return utf8;
}

} // namespace

void JoinedText::add_run(std::string_view run, Place place) {
    if (!run.empty()) {
        runs_.push_back({text_.size(), place});
        text_ += run;
    }
}

void JoinedText::add(std::string_view raw, Place place) {
    ++place.column;
    while (!raw.empty()) {
        const size_t mark = raw.find_first_of("\"\n");
        const size_t length = mark == std::string_view::npos ? raw.size() : mark + 1;
        add_run(raw.substr(0, length), place);
        const bool line = mark != std::string_view::npos && raw[mark] == '\n';
        const size_t next = std::min(raw.size(), line ? length : length + 1);
        place = line ? Place{place.line + 1, 1}
                     : Place{place.line, place.column + static_cast<uint32_t>(next)};
        raw.remove_prefix(next);
    }
}

void JoinedText::add(const JoinedText& other) {
    for (const Run& run : other.runs_) {
        runs_.push_back({text_.size() + run.begin, run.place});
    }
    text_ += other.text_;
}

Place JoinedText::place_of(size_t offset) const noexcept {
    if (runs_.empty()) {
        return {};
    }
    offset = std::min(offset, text_.size());
    const auto after =
        std::upper_bound(runs_.begin(), runs_.end(), offset,
                         [](size_t wanted, const Run& run) { return wanted < run.begin; });
    const Run& run = after == runs_.begin() ? *after : *(after - 1);
    return {run.place.line, run.place.column + static_cast<uint32_t>(offset - run.begin)};
}

std::string JoinedText::readable() const {
    return is_utf8(text_) ? text_ : from_latin1(text_);
}

} // namespace talvor::bsdl
