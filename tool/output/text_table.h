// A table of texts; columns are as wide as their widest cell.
#pragma once

#include <string>
#include <utility>
#include <vector>

namespace talvor {

class TextTable {
public:
    // `heads` may be empty: then there is no head line.
    explicit TextTable(std::vector<std::string> heads) : heads_(std::move(heads)) {}
    void add(std::vector<std::string> cells) { rows_.push_back(std::move(cells)); }
    // Lines without newlines, the heads first, indented by two blanks, no blanks at their ends.
    [[nodiscard]] std::vector<std::string> lines() const;

private:
    std::vector<std::string> heads_;
    std::vector<std::vector<std::string>> rows_;
};

} // namespace talvor
