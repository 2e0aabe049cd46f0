#include "host/driver/error_text.h"
#include "jti_typedef.h"

#include <gtest/gtest.h>

#include <set>

namespace talvor {
namespace {

TEST(ErrorTextTest, EveryCodeHasItsOwnNameAndASentence) {
    std::set<int32_t> codes;
    std::set<std::string_view> names;
    for (const CodeText& text : all_codes()) {
        EXPECT_TRUE(codes.insert(text.code).second) << text.code;
        EXPECT_TRUE(names.insert(text.name).second) << text.name;
        EXPECT_FALSE(text.sentence.empty()) << text.name;
        EXPECT_FALSE(text.sentence.ends_with('.')) << text.name;
    }
    // All of JTI_ErrorCode but success, and the four of the configuration table.
    EXPECT_EQ(codes.size(), 56U);
}

TEST(ErrorTextTest, NamesTheCodeInTheReason) {
    const Error error = library_error("connecting the pod", eJTI_ERROR_NO_POWER).value();
    EXPECT_EQ(error.code, -180);
    EXPECT_EQ(headline(error),
              "connecting the pod: the target has no power (-180 eJTI_ERROR_NO_POWER)");
    EXPECT_EQ(error.exit_status(), 1);
}

TEST(ErrorTextTest, KeysOfTheBoardFileAreBadFiles) {
    for (const int32_t code : {-220, -228, -272, -300, -309, -339, -445, -448, 9003, 9004}) {
        EXPECT_EQ(library_error("x", code).value().exit_status(), 2) << code;
    }
    for (const int32_t code : {-116, -120, -122, -140, -141, -171, -180, -203, -520, 9001}) {
        EXPECT_EQ(library_error("x", code).value().exit_status(), 1) << code;
    }
}

TEST(ErrorTextTest, AnUnknownCodeIsShownAsItIs) {
    EXPECT_EQ(code_label(-999), "-999");
    EXPECT_EQ(code_label(-180), "-180 eJTI_ERROR_NO_POWER");
    EXPECT_EQ(find_code(0), nullptr);
    EXPECT_EQ(library_error("x", -999).value().reason,
              "the library answered the unknown code -999");
}

} // namespace
} // namespace talvor
