// A block of text that is shown again and again: in its place on a terminal, else one after the
// other.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace talvor {

class RefreshedText {
public:
    // `in_place`: the standard output is a terminal.
    explicit RefreshedText(bool in_place) noexcept : in_place_(in_place) {}

    // `lines` have no newlines. In place they take that of those shown before; else a blank line
    // stands between.
    void show(const std::vector<std::string>& lines);

private:
    bool in_place_;
    bool shown_ = false;
    size_t rows_ = 0; // of the terminal, that the last lines take
};

} // namespace talvor
