#include "common/toml_reader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>

namespace talvor {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

using Use = std::function<void(const TomlReader&)>;

// What the first error of a document says after `use` has read its root; empty without an error.
std::string complaint(const std::string& text, const Use& use) {
    const auto root = parse_toml(text, "f");
    EXPECT_TRUE(root) << headline(root.error());
    if (!root) {
        return "";
    }
    TomlErrors errors("f");
    use(TomlReader(*root, "", errors));
    const Status status = errors.status();
    EXPECT_EQ(errors.any(), !status);
    EXPECT_TRUE(status || status.error().kind == ErrorKind::BadFile);
    return status ? "" : headline(status.error());
}

// What a getter gives for a document, and what it complains of.
template <typename T>
struct Got {
    T value;
    std::string error;
    bool operator==(const Got&) const = default;
};
template <typename Get>
auto got(const std::string& text, Get get) {
    Got<decltype(get(std::declval<const TomlReader&>()))> result{};
    result.error = complaint(text, [&](const TomlReader& reader) { result.value = get(reader); });
    return result;
}

auto integer_of(const std::string& text) {
    return got(text, [](const TomlReader& reader) { return reader.integer("a", 7, 3, 9); });
}

TEST(TomlReaderTest, AnIntegerLiesBetweenItsLimits) {
    EXPECT_EQ(integer_of("").value, 7U);
    EXPECT_EQ(integer_of("").error, "");
    EXPECT_EQ(integer_of("a = 3").value, 3U);
    EXPECT_EQ(integer_of("a = 9").value, 9U);
    EXPECT_EQ(integer_of("a = 9").error, "");
    EXPECT_EQ(integer_of("\na = 2").error, "f:2: a: expected an integer from 3 to 9, found 2");
    EXPECT_EQ(integer_of("a = 10").error, "f:1: a: expected an integer from 3 to 9, found 10");
    EXPECT_EQ(integer_of("a = -4").error, "f:1: a: expected an integer from 3 to 9, found -4");
    EXPECT_EQ(integer_of("a = 4.0").error,
              "f:1: a: expected an integer from 3 to 9, found a real number");
    EXPECT_EQ(integer_of("a = 10").value, 7U) << "an error gives the default";
}

TEST(TomlReaderTest, ABooleanIsTrueOrFalse) {
    const auto boolean = [](const std::string& text) {
        return got(text, [](const TomlReader& reader) { return reader.boolean("a", true); });
    };
    EXPECT_TRUE(boolean("").value);
    EXPECT_FALSE(boolean("a = false").value);
    EXPECT_EQ(boolean("a = 0").error, "f:1: a: expected true or false, found an integer");
    EXPECT_TRUE(boolean("a = 0").value);
}

TEST(TomlReaderTest, ATextIsAText) {
    const auto text_of = [](const std::string& text) {
        return got(text, [](const TomlReader& reader) { return reader.text("a", "none"); });
    };
    EXPECT_EQ(text_of("").value, "none");
    EXPECT_EQ(text_of("a = ''").value, "");
    EXPECT_EQ(text_of("a = [1]").error, "f:1: a: expected a text, found an array");
    EXPECT_EQ(text_of("a = 1979-05-27").error, "f:1: a: expected a text, found a date or time");
}

TEST(TomlReaderTest, TextsAreAnArrayOfTexts) {
    const auto texts = [](const std::string& text) {
        return got(text, [](const TomlReader& reader) { return reader.texts("a"); });
    };
    EXPECT_THAT(texts("").value, IsEmpty());
    EXPECT_THAT(texts("a = []").value, IsEmpty());
    EXPECT_THAT(texts("a = ['x', 'y']").value, ElementsAre("x", "y"));
    EXPECT_EQ(texts("a = 'x'").error, "f:1: a: expected an array of texts, found a text");
    EXPECT_EQ(texts("a = ['x', 1]").error, "f:1: a: expected an array of texts, found an integer");
    EXPECT_THAT(texts("a = ['x', 1]").value, IsEmpty());
}

TEST(TomlReaderTest, IntegersAreOneOrAnArray) {
    const auto integers = [](const std::string& text) {
        return got(text, [](const TomlReader& reader) { return reader.integers("a", 9); });
    };
    EXPECT_THAT(integers("").value, IsEmpty());
    EXPECT_THAT(integers("a = 9").value, ElementsAre(9));
    EXPECT_THAT(integers("a = [0, 9]").value, ElementsAre(0, 9));
    EXPECT_EQ(integers("a = 10").error, "f:1: a: expected an integer from 0 to 9, found 10");
    EXPECT_EQ(integers("a = [0, 10]").error, "f:1: a: expected integers from 0 to 9");
    EXPECT_EQ(integers("a = [-1]").error, "f:1: a: expected integers from 0 to 9");
    EXPECT_EQ(integers("a = ['1']").error, "f:1: a: expected integers from 0 to 9");
}

auto wide_of(const std::string& value, uint64_t bits) {
    return got(value.empty() ? "" : "a = " + value,
               [bits](const TomlReader& reader) { return reader.wide("a", bits); });
}

TEST(TomlReaderTest, AWideValueIsAnIntegerOrHexadecimalDigits) {
    EXPECT_THAT(wide_of("", 8).value, IsEmpty());
    EXPECT_THAT(wide_of("255", 8).value, ElementsAre(255));
    EXPECT_THAT(wide_of("'0xfF'", 8).value, ElementsAre(255));
    EXPECT_THAT(wide_of("'0x1_0000_0000_0000_0002'", 65).value, ElementsAre(2, 1));
    EXPECT_THAT(wide_of("'0x00000000000000000000000000001'", 3).value, ElementsAre(1));
    EXPECT_THAT(wide_of("1", 128).value, ElementsAre(1, 0));
    EXPECT_THAT(wide_of("'0xffffffffffffffff'", 64).value, ElementsAre(UINT64_MAX));
}

TEST(TomlReaderTest, AWideValueHasNoMoreBitsThanItsRoom) {
    const std::string error = "f:1: a: expected a value of at most 8 bits, as an integer or as a "
                              "text like \"0x1F\"";
    EXPECT_EQ(wide_of("256", 8).error, error);
    EXPECT_EQ(wide_of("'0x100'", 8).error, error);
    EXPECT_EQ(wide_of("-1", 8).error, error);
    EXPECT_EQ(wide_of("'1F'", 8).error, error);
    EXPECT_EQ(wide_of("'0x'", 8).error, error);
    EXPECT_EQ(wide_of("'0x1g'", 8).error, error);
    EXPECT_EQ(wide_of("true", 8).error, error);
    EXPECT_THAT(wide_of("256", 8).value, IsEmpty());
    EXPECT_NE(wide_of("'0x20000000000000000'", 65).error, "");
}

TEST(TomlReaderTest, ATableIsReadWithItsOwnPath) {
    const auto use = [](const TomlReader& root) {
        const auto table = root.table("t");
        ASSERT_TRUE(table);
        EXPECT_EQ(table->path(), "t");
        EXPECT_TRUE(table->has("a"));
        EXPECT_FALSE(table->has("b"));
        (void)table->boolean("a", false);
    };
    EXPECT_EQ(complaint("[t]\na = 1", use), "f:2: t.a: expected true or false, found an integer");
    EXPECT_EQ(complaint("", [](const TomlReader& root) { EXPECT_FALSE(root.table("t")); }), "");
    EXPECT_EQ(complaint("t = 1", [](const TomlReader& root) { EXPECT_FALSE(root.table("t")); }),
              "f:1: t: expected a table, found an integer");
}

TEST(TomlReaderTest, TablesAreNumbered) {
    const auto use = [](const TomlReader& root) {
        const auto tables = root.tables("t");
        ASSERT_EQ(tables.size(), 2U);
        EXPECT_EQ(tables[0].integer("a", 0, 0, 9), 1U);
        tables[1].require("a", "a number");
    };
    EXPECT_EQ(complaint("[[t]]\na = 1\n[[t]]\n", use), "f:3: t[1].a: missing, expected a number");
    const Use count = [](const TomlReader& root) { EXPECT_THAT(root.tables("t"), IsEmpty()); };
    EXPECT_EQ(complaint("", count), "");
    EXPECT_EQ(complaint("t = 1", count),
              "f:1: t: expected an array of tables, written [[t]], found an integer");
    EXPECT_EQ(complaint("t = []", count),
              "f:1: t: expected an array of tables, written [[t]], found an array");
    EXPECT_EQ(complaint("t = [1]", count),
              "f:1: t: expected an array of tables, written [[t]], found an array");
}

TEST(TomlReaderTest, OtherKeysAreErrorsAtTheirOwnLine) {
    const Use use = [](const TomlReader& root) { root.only({"a", "b"}); };
    EXPECT_EQ(complaint("a = 1\nb = 2", use), "");
    EXPECT_EQ(complaint("a = 1\nc = 2", use), "f:2: c: unknown key, expected one of a, b");
}

TEST(TomlReaderTest, AMissingKeyIsAnErrorOfTheTable) {
    const Use use = [](const TomlReader& root) { root.require("a", "a number"); };
    EXPECT_EQ(complaint("a = 1", use), "");
    EXPECT_EQ(complaint("", use), "f:1: a: missing, expected a number");
}

TEST(TomlReaderTest, EntriesAreSorted) {
    EXPECT_EQ(complaint("b = 1\na = 2",
                        [](const TomlReader& root) {
                            ASSERT_EQ(root.entries().size(), 2U);
                            EXPECT_EQ(root.entries()[0].key, "a");
                        }),
              "");
}

TEST(TomlErrorsTest, OnlyTheFirstCounts) {
    TomlErrors errors("f");
    EXPECT_FALSE(errors.any());
    EXPECT_TRUE(errors.status());
    errors.add(3, "", "first");
    errors.add(1, "a", "second");
    ASSERT_TRUE(errors.any());
    EXPECT_EQ(errors.status().error(), (Error{ErrorKind::BadFile, 0, "f:3", "first", ""}));
}

} // namespace
} // namespace talvor
