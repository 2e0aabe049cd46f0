#include "tool/output/refreshed_text.h"
#include "tool/output/standard_streams.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

namespace talvor {
namespace {

std::string shown(bool in_place, const std::vector<std::vector<std::string>>& all) {
    setenv("COLUMNS", "10", 1);
    testing::internal::CaptureStdout();
    RefreshedText text(in_place);
    for (const std::vector<std::string>& lines : all) {
        text.show(lines);
    }
    EXPECT_TRUE(flush_output());
    unsetenv("COLUMNS");
    return testing::internal::GetCapturedStdout();
}

TEST(RefreshedTextTest, StandsOneAfterTheOtherOffATerminal) {
    EXPECT_EQ(shown(false, {{"a", "b"}, {"c"}}), "a\nb\n\nc\n");
}

TEST(RefreshedTextTest, TakesTheRowsOfTheLastOnATerminal) {
    EXPECT_EQ(shown(true, {{"a", "b"}, {"c"}, {"d"}}), "a\nb\n\033[2A\033[Jc\n\033[1A\033[Jd\n");
}

TEST(RefreshedTextTest, CountsTheRowsOfWideAndEmptyLines) {
    EXPECT_EQ(shown(true, {{"0123456789", "01234567890", ""}, {"x"}}),
              "0123456789\n01234567890\n\n\033[4A\033[Jx\n");
}

} // namespace
} // namespace talvor
