#include "tool/output/json.h"

#include <gtest/gtest.h>

#include <limits>

namespace talvor {
namespace {

TEST(JsonTest, WritesEveryKindOfValue) {
    EXPECT_EQ(Json().text(), "null");
    EXPECT_EQ(Json(nullptr).text(), "null");
    EXPECT_EQ(Json(true).text(), "true");
    EXPECT_EQ(Json(-5).text(), "-5");
    EXPECT_EQ(Json(uint8_t{200}).text(), "200");
    EXPECT_EQ(Json(std::numeric_limits<uint64_t>::max()).text(), "18446744073709551615");
    EXPECT_EQ(Json(std::numeric_limits<int64_t>::min()).text(), "-9223372036854775808");
    EXPECT_EQ(Json(0.5).text(), "0.5");
    EXPECT_EQ(Json(2.0).text(), "2.0");
    EXPECT_EQ(Json("a\"b\n").text(), "\"a\\\"b\\n\"");
    EXPECT_EQ(Json(std::string("x")).text(), "\"x\"");
    EXPECT_EQ(Json(std::string_view("y")).text(), "\"y\"");
    EXPECT_EQ(Json::array().text(), "[]");
}

TEST(JsonTest, KeepsTheOrderOfMembers) {
    Json json{{"zebra", 1}, {"ant", "two"}, {"inner", {{"b", nullptr}, {"a", false}}}};
    json["later"] = 3.5;
    json["zebra"] = 4;
    EXPECT_EQ(json.size(), 4U);
    EXPECT_EQ(json.text(), "{\n"
                           "  \"zebra\": 4,\n"
                           "  \"ant\": \"two\",\n"
                           "  \"inner\": {\n"
                           "    \"b\": null,\n"
                           "    \"a\": false\n"
                           "  },\n"
                           "  \"later\": 3.5\n"
                           "}");
}

TEST(JsonTest, FitsALineWhereOneIsAskedFor) {
    EXPECT_EQ(
        (Json{{"event", "ready"}, {"ports", Json::array({1, 2})}, {"text", "a\nb\xff"}}).line(),
        "{\"event\":\"ready\",\"ports\":[1,2],\"text\":\"a\\nb\uFFFD\"}");
}

TEST(JsonTest, AnObjectOfOneMemberIsNoText) {
    EXPECT_EQ((Json{{"path", "ir"}}).text(), "{\n  \"path\": \"ir\"\n}");
}

TEST(JsonTest, ArraysHoldWhatIsPushed) {
    Json list = Json::array();
    list.push_back(Json{{"n", 1}});
    list.push_back("x");
    EXPECT_EQ(list.size(), 2U);
    EXPECT_EQ((Json{{"list", list}}).text(), "{\n"
                                             "  \"list\": [\n"
                                             "    {\n"
                                             "      \"n\": 1\n"
                                             "    },\n"
                                             "    \"x\"\n"
                                             "  ]\n"
                                             "}");
    EXPECT_EQ(Json::array({7, 8}).text(), "[\n  7,\n  8\n]");
}

// A file name is any bytes, and its error must still be a document.
TEST(JsonTest, ReplacesWhatIsNoUtf8) {
    EXPECT_EQ(Json("a\xFF").text(), "\"a\xEF\xBF\xBD\"");
}

TEST(JsonParseTest, ReadsBackWhatWasWritten) {
    const Json whole{{"b", true},
                     {"a", nullptr},
                     {"list", Json::array({1, 2})},
                     {"text", "\"x\"\n"},
                     {"minus", -3},
                     {"most", UINT64_MAX},
                     {"part", 0.5},
                     {"inner", Json{{"x", Json::array()}}}};
    const std::optional<Json> read = Json::parse(whole.text());
    ASSERT_TRUE(read);
    EXPECT_EQ(read->line(), whole.line());
    EXPECT_EQ(Json::parse(whole.line())->line(), whole.line());
}

TEST(JsonParseTest, AnythingElseIsNone) {
    for (const char* text : {"", "{", "[1,]", "{\"a\": 1} x", "nothing"}) {
        EXPECT_FALSE(Json::parse(text)) << text;
    }
}

} // namespace
} // namespace talvor
