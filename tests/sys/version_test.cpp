#include "sys/version.h"

#include <gtest/gtest.h>

#include <regex>

namespace {

TEST(VersionTest, IsTheOneConstantRecord) {
    EXPECT_EQ(sys_Str0FormatVersion(), sys_Str0FormatVersion());
    const Str0VersionInform& version = *sys_Str0FormatVersion();
    EXPECT_EQ(version.valid, 0U);
    EXPECT_STREQ(version.package, "12.34.56.78");
    EXPECT_STREQ(version.component, "87.65.43.21");
    EXPECT_EQ(version.packageMajor, 12U);
    EXPECT_EQ(version.packageMinor, 34U);
    EXPECT_EQ(version.packageDefect, 56U);
    EXPECT_EQ(version.packagePatch, 78U);
    EXPECT_EQ(version.componentMajor, 87U);
    EXPECT_EQ(version.componentMinor, 65U);
    EXPECT_EQ(version.componentDefect, 43U);
    EXPECT_EQ(version.componentPatch, 21U);
}

TEST(VersionTest, CarriesTheBuildStampInTheCompilersForm) {
    const Str0VersionInform& version = *sys_Str0FormatVersion();
    EXPECT_TRUE(std::regex_match(version.date,
                                 std::regex("(Jan|Feb|Mar|Apr|May|Jun|Jul|Aug|Sep|Oct|Nov|Dec) "
                                            "( [1-9]|[12][0-9]|3[01]) 2[0-9]{3}")))
        << version.date;
    EXPECT_TRUE(
        std::regex_match(version.time, std::regex("([01][0-9]|2[0-3]):[0-5][0-9]:[0-5][0-9]")))
        << version.time;
}

} // namespace
