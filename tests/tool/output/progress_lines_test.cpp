#include "tool/output/progress_lines.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>

namespace talvor {
namespace {

using testing::ElementsAre;

TEST(FittingLinesTest, AreAllWhereThereIsRoom) {
    EXPECT_THAT(fitting_lines({"a", "b"}, "sum", 2), ElementsAre("a", "b"));
    EXPECT_THAT(fitting_lines({}, "sum", 2), ElementsAre());
}

TEST(FittingLinesTest, EndWithTheSummaryWhereThereIsNot) {
    EXPECT_THAT(fitting_lines({"a", "b", "c"}, "sum", 2), ElementsAre("a", "sum"));
    EXPECT_THAT(fitting_lines({"a", "b", "c"}, "sum", 1), ElementsAre("sum"));
    EXPECT_THAT(fitting_lines({"a", "b", "c"}, "sum", 0), ElementsAre("sum"));
}

TEST(ProgressLinesTest, TakeThePlaceOfThoseBefore) {
    setenv("COLUMNS", "10", 1);
    setenv("LINES", "3", 1);
    testing::internal::CaptureStderr();
    {
        ProgressLines lines(true);
        EXPECT_TRUE(lines.due());
        lines.show({"one", "a line that is too long"}, "sum");
        EXPECT_FALSE(lines.due());
        lines.show({"1", "2", "3"}, "sum");
        lines.clear();
        lines.clear();
        lines.show({"again"}, "sum");
    }
    unsetenv("COLUMNS");
    unsetenv("LINES");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "one\na line th\n"
                                                      "\033[2A\033[J1\nsum\n"
                                                      "\033[2A\033[J"
                                                      "again\n\033[1A\033[J");
}

TEST(ProgressLinesTest, AreOnlyDrawnWhereTheyAreWanted) {
    testing::internal::CaptureStderr();
    {
        ProgressLines lines(false);
        EXPECT_FALSE(lines.due());
        lines.show({"one"}, "sum");
    }
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

} // namespace
} // namespace talvor
