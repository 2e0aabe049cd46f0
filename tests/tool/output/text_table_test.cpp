#include "tool/output/text_table.h"

#include <gtest/gtest.h>

namespace talvor {
namespace {

TEST(TextTableTest, ColumnsAreAsWideAsTheirWidestCell) {
    TextTable table({"a", "long head", "c"});
    table.add({"wide cell", "x", "1"});
    table.add({"y", "z", ""});
    EXPECT_EQ(table.lines(),
              (std::vector<std::string>{"  a          long head  c", "  wide cell  x          1",
                                        "  y          z"}));
}

TEST(TextTableTest, MayHaveNoHeads) {
    TextTable table({});
    table.add({"power", "on"});
    EXPECT_EQ(table.lines(), (std::vector<std::string>{"  power  on"}));
    EXPECT_TRUE(TextTable({}).lines().empty());
}

TEST(TextTableTest, CountsCharactersAndNotBytes) {
    TextTable table({});
    table.add({"\u00b5s", "1"});
    table.add({"ab", "2"});
    EXPECT_EQ(table.lines(), (std::vector<std::string>{"  \u00b5s  1", "  ab  2"}));
}

} // namespace
} // namespace talvor
