// The page on performance and the script that measures name the same rows.
#include "support/run_program.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <regex>
#include <set>
#include <sstream>
#include <string>

namespace {

const std::filesystem::path source_dir = TALVOR_SOURCE_DIR;

std::set<std::string> rows_of_the_script() {
    const test_support::ProgramResult result =
        test_support::run_program({source_dir.string() + "/scripts/bench", "--list"});
    EXPECT_EQ(result.status, 0) << result.errors;
    std::istringstream lines(result.output);
    std::set<std::string> rows;
    for (std::string line; std::getline(lines, line);) {
        rows.insert(line.substr(0, line.find(' ')));
    }
    return rows;
}

// What stands in back-ticks in the first column of the table.
std::set<std::string> rows_of_the_page() {
    std::ifstream page(source_dir / "docs/performance.md");
    const std::regex name("`([a-z0-9A-Z-]+)`");
    std::set<std::string> rows;
    for (std::string line; std::getline(page, line);) {
        if (!line.starts_with("| `")) {
            continue;
        }
        const std::string column = line.substr(1, line.find('|', 1) - 1);
        for (std::sregex_iterator at(column.begin(), column.end(), name), end; at != end; ++at) {
            rows.insert((*at)[1]);
        }
    }
    return rows;
}

TEST(PerformancePageTest, NamesTheRowsThatAreMeasured) {
    const std::set<std::string> rows = rows_of_the_script();
    EXPECT_GT(rows.size(), 8U);
    EXPECT_EQ(rows_of_the_page(), rows);
}

} // namespace
