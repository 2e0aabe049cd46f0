#include "common/text.h"

#include <gtest/gtest.h>

namespace talvor {
namespace {

TEST(CountTextTest, OneThingIsNotMany) {
    EXPECT_EQ(count_text(0, "statement"), "0 statements");
    EXPECT_EQ(count_text(1, "statement"), "1 statement");
    EXPECT_EQ(count_text(2, "statement"), "2 statements");
    EXPECT_EQ(count_text(1, "entry", "entries"), "1 entry");
    EXPECT_EQ(count_text(3, "entry", "entries"), "3 entries");
}

TEST(RevisionTextTest, WritesMajorAndMinorInHexadecimal) {
    EXPECT_EQ(revision_text(0x0210), "2.10");
    EXPECT_EQ(revision_text(0x0302), "3.2");
    EXPECT_EQ(revision_text(0x0400), "4.0");
}

} // namespace
} // namespace talvor
