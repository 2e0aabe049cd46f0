#include "commands/output.h"

#include <gtest/gtest.h>

#include "session/error_text.h"

namespace talvor {
namespace {

TEST(TextTable, ColumnsAreAsWideAsTheirWidestCell) {
    TextTable table({"a", "long head", "c"});
    table.add({"wide cell", "x", "1"});
    table.add({"y", "z", ""});
    EXPECT_EQ(table.lines(),
              (std::vector<std::string>{"  a          long head  c", "  wide cell  x          1",
                                        "  y          z"}));
}

TEST(TextTable, MayHaveNoHeads) {
    TextTable table({});
    table.add({"power", "on"});
    EXPECT_EQ(table.lines(), (std::vector<std::string>{"  power  on"}));
    EXPECT_TRUE(TextTable({}).lines().empty());
}

TEST(ErrorJson, HoldsEverythingThatIsThere) {
    const Json full = to_json(library_error("connecting the pod", -180));
    EXPECT_EQ(full.at("kind"), "pod");
    EXPECT_EQ(full.at("thing"), "connecting the pod");
    EXPECT_EQ(full.at("code"), -180);
    EXPECT_EQ(full.at("name"), "eJTI_ERROR_NO_POWER");
    EXPECT_FALSE(full.at("next_step").get<std::string>().empty());
    const Json bare = to_json(Error{ErrorKind::Usage, 0, "x", "is wrong", ""});
    EXPECT_EQ(bare, (Json{{"kind", "usage"}, {"thing", "x"}, {"reason", "is wrong"}}));
}

} // namespace
} // namespace talvor
