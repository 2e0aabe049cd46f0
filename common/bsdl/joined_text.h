// The strings of an attribute, joined, with the place where each character stands in the file.
#pragma once

#include "common/bsdl/model.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace talvor::bsdl {

class JoinedText {
public:
    // One string as the file writes it, two quotes for one; `place` is that of the quote before it.
    void add(std::string_view raw, Place place);
    // All of another one.
    void add(const JoinedText& other);

    [[nodiscard]] const std::string& text() const noexcept { return text_; }
    // Where the character at `offset` stands; behind the last one for an offset behind that.
    [[nodiscard]] Place place_of(size_t offset) const noexcept;
    // The text in UTF-8: what is none is taken for ISO 8859-1.
    [[nodiscard]] std::string readable() const;

private:
    // A run of characters that stand side by side.
    struct Run {
        size_t begin;
        Place place;
    };
    void add_run(std::string_view run, Place place);

    std::string text_;
    std::vector<Run> runs_;
};

} // namespace talvor::bsdl
