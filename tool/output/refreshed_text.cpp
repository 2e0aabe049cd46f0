#include "tool/output/refreshed_text.h"

#include "tool/output/standard_streams.h"
#include "tool/output/terminal.h"

#include <fmt/format.h>

#include <algorithm>

namespace talvor {

void RefreshedText::show(const std::vector<std::string>& lines) {
    std::string text;
    if (in_place_ && rows_ != 0) {
        text = fmt::format("\033[{}A\033[J", rows_); // up, and wipe from there on
    } else if (!in_place_ && shown_) {
        text = "\n";
    }
    // A line that is wider than the terminal goes on in the next row.
    const size_t width = std::max<size_t>(in_place_ ? terminal_width() : 1, 1);
    rows_ = 0;
    for (const std::string& line : lines) {
        text += line + "\n";
        rows_ += std::max<size_t>((places_of(line) + width - 1) / width, 1);
    }
    shown_ = true;
    write_output(text);
}

} // namespace talvor
