#include "tool/output/text_table.h"

#include <algorithm>
#include <string_view>

namespace talvor {
namespace {

// Characters of UTF-8 text, each taken as one column wide.
size_t width(std::string_view text) {
    return static_cast<size_t>(std::count_if(text.begin(), text.end(), [](char letter) {
        return (static_cast<unsigned char>(letter) & 0xC0U) != 0x80U;
    }));
}

} // namespace

std::vector<std::string> TextTable::lines() const {
    std::vector<std::vector<std::string>> all;
    if (!heads_.empty()) {
        all.push_back(heads_);
    }
    all.insert(all.end(), rows_.begin(), rows_.end());
    std::vector<size_t> widths;
    for (const auto& row : all) {
        widths.resize(std::max(widths.size(), row.size()));
        for (size_t i = 0; i < row.size(); ++i) {
            widths[i] = std::max(widths[i], width(row[i]));
        }
    }
    std::vector<std::string> lines;
    for (const auto& row : all) {
        std::string line;
        for (size_t i = 0; i < row.size(); ++i) {
            line += "  " + row[i] + std::string(widths[i] - width(row[i]), ' ');
        }
        line.erase(line.find_last_not_of(' ') + 1);
        lines.push_back(std::move(line));
    }
    return lines;
}

} // namespace talvor
