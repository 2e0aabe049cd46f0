#include "tool/commands/expectation.h"

#include <gtest/gtest.h>

namespace talvor {
namespace {

Json scan_result() {
    return Json{{"path", "dr"}, {"bits", 32}, {"out", "0xCAFEBABE"}, {"state", "idle"}};
}

bool meets(const Expectation& expectation, const Json& result = scan_result()) {
    const auto compared = compare(expectation, result);
    EXPECT_TRUE(compared) << headline(compared.error());
    return compared && compared->equal;
}

std::string reason(const Expectation& expectation, const std::optional<Json>& result) {
    const auto compared = compare(expectation, result);
    return compared ? "" : headline(compared.error());
}

TEST(ExpectationTest, ComparesNumbersHoweverTheyAreWritten) {
    EXPECT_TRUE(meets({"", "0xCAFEBABE", ""}));
    EXPECT_TRUE(meets({"", "0x00cafebabe", ""}));
    EXPECT_TRUE(meets({"out", "3405691582", ""}));
    EXPECT_FALSE(meets({"", "0xCAFEBABF", ""}));
    EXPECT_FALSE(meets({"", "0xFE", ""}));
    EXPECT_TRUE(meets({"bits", "0x20", ""}));
    EXPECT_TRUE(meets({"bits", "32", ""}));
    const Json wide{{"out", "0x1FFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFF"}};
    EXPECT_TRUE(meets({"", "0x1FFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFF", ""}, wide));
    EXPECT_FALSE(meets({"", "0x0FFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFF", ""}, wide));
}

TEST(ExpectationTest, LooksAtTheBitsOfTheMaskAlone) {
    EXPECT_TRUE(meets({"", "0xBABE", "0xFFFF"}));
    EXPECT_TRUE(meets({"", "0x1234BABE", "FFFF"}));
    EXPECT_FALSE(meets({"", "0xBABF", "0xFFFF"}));
    EXPECT_TRUE(meets({"", "0xBABF", "0xFFFE"}));
    EXPECT_TRUE(meets({"bits", "33", "0xFE"}));
}

TEST(ExpectationTest, ComparesWordsAndFindsMembers) {
    EXPECT_TRUE(meets({"state", "idle", ""}));
    EXPECT_FALSE(meets({"state", "Idle", ""}));
    EXPECT_TRUE(meets({"", "idle", ""}, Json{{"state", "idle"}, {"name", "Run-Test/Idle"}}));
    Json devices = Json::array();
    devices.push_back(Json{{"idcode", nullptr}});
    devices.push_back(Json{{"idcode", "0x1A2B3C4D"}});
    const Json chain{{"devices", devices}, {"lengths_known", true}};
    EXPECT_TRUE(meets({"devices.1.idcode", "0x1A2B3C4D", ""}, chain));
    EXPECT_TRUE(meets({"devices.0.idcode", "null", ""}, chain));
    EXPECT_TRUE(meets({"lengths_known", "true", ""}, chain));
}

TEST(ExpectationTest, SaysWhatThereIsNot) {
    EXPECT_EQ(reason({"", "1", ""}, std::nullopt), "expect: no command has had a result yet");
    EXPECT_EQ(reason({"", "1", ""}, Json{{"serial", 5}}),
              "expect: the last result has more than one value");
    for (const char* path : {"x", "out.x", "devices.2", ""}) {
        Json devices = Json::array();
        devices.push_back(Json(1));
        const Json result{{"devices", devices}};
        EXPECT_NE(reason({path, "1", ""}, result), "") << path;
    }
    EXPECT_EQ(reason({"a", "1", ""}, Json{{"a", Json::array()}}), "a: is no single value");
    EXPECT_EQ(reason({"state", "idle", "1"}, scan_result()), "--mask: is for numbers");
    EXPECT_EQ(reason({"", "1", "x"}, scan_result()).substr(0, 8), "--mask: ");
}

} // namespace
} // namespace talvor
