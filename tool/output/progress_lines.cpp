#include "tool/output/progress_lines.h"

#include "tool/output/standard_streams.h"
#include "tool/output/terminal.h"

#include <fmt/format.h>

#include <algorithm>

namespace talvor {
namespace {

constexpr std::chrono::milliseconds kDrawEvery{100};

} // namespace

std::vector<std::string> fitting_lines(std::vector<std::string> lines, const std::string& summary,
                                       size_t rows) {
    if (lines.size() <= rows) {
        return lines;
    }
    lines.resize(std::max<size_t>(rows, 1) - 1);
    lines.push_back(summary);
    return lines;
}

bool ProgressLines::due() const {
    return shown_ && std::chrono::steady_clock::now() - last_ >= kDrawEvery;
}

void ProgressLines::show(const std::vector<std::string>& lines, const std::string& summary) {
    if (!shown_) {
        return;
    }
    // The row below stays free for the cursor.
    const size_t rows = std::max<size_t>(terminal_height(STDERR_FILENO), 2) - 1;
    const size_t width = std::max<size_t>(terminal_width(), 2) - 1;
    std::string text = rows_ == 0 ? "" : fmt::format("\033[{}A\033[J", rows_);
    const std::vector<std::string> fitting = fitting_lines(lines, summary, rows);
    for (const std::string& line : fitting) {
        text += line.substr(0, width) + "\n";
    }
    rows_ = fitting.size();
    last_ = std::chrono::steady_clock::now();
    write_error(text);
}

void ProgressLines::clear() {
    if (rows_ != 0) {
        write_error(fmt::format("\033[{}A\033[J", rows_));
        rows_ = 0;
    }
}

} // namespace talvor
