#include "common/temporary.h"
#include "common/toml.h"

#include <gtest/gtest.h>

#include <fstream>

namespace talvor {
namespace {

// The node of a document's only key.
TomlNode value_of(const std::string& value) {
    const auto root = parse_toml("key = " + value, "file.toml");
    EXPECT_TRUE(root) << headline(root.error());
    return root ? root->as<TomlTable>()->at(0).node : TomlNode{};
}

TEST(TomlTest, EveryTypeBecomesItsPlainValue) {
    EXPECT_EQ(*value_of("true").as<bool>(), true);
    EXPECT_EQ(*value_of("0x10").as<int64_t>(), 16);
    EXPECT_EQ(*value_of("-3").as<int64_t>(), -3);
    EXPECT_EQ(*value_of("1.5").as<double>(), 1.5);
    EXPECT_EQ(*value_of("\"a\\nb\"").as<std::string>(), "a\nb");
    EXPECT_EQ(value_of("[1, 2]").as<TomlArray>()->size(), 2U);
    EXPECT_EQ(value_of("{ inner = 1 }").as<TomlTable>()->at(0).key, "inner");
    EXPECT_EQ(value_of("1").as<std::string>(), nullptr);
}

TEST(TomlTest, TypesHaveNamesForMessages) {
    EXPECT_EQ(type_name(value_of("1979-05-27")), "a date or time");
    EXPECT_EQ(type_name(value_of("07:32:00")), "a date or time");
    EXPECT_EQ(type_name(value_of("false")), "true or false");
    EXPECT_EQ(type_name(value_of("1")), "an integer");
    EXPECT_EQ(type_name(value_of("1.0")), "a real number");
    EXPECT_EQ(type_name(value_of("''")), "a text");
    EXPECT_EQ(type_name(value_of("[]")), "an array");
    EXPECT_EQ(type_name(value_of("{}")), "a table");
}

TEST(TomlTest, KeysComeSortedWithTheirLines) {
    const auto root = parse_toml("# first\nb = 1\n\na = 2\n[c]\nx = 3\n", "file.toml");
    ASSERT_TRUE(root);
    const TomlTable& table = *root->as<TomlTable>();
    ASSERT_EQ(table.size(), 3U);
    EXPECT_EQ(table[0].key, "a");
    EXPECT_EQ(table[0].line, 4U);
    EXPECT_EQ(table[0].node.line, 4U);
    EXPECT_EQ(table[1].key, "b");
    EXPECT_EQ(table[1].line, 2U);
    EXPECT_EQ(table[2].node.as<TomlTable>()->at(0).line, 6U);
}

TEST(TomlTest, WhatIsNotTomlIsRefusedWithFileAndLine) {
    const auto root = parse_toml("a = 1\nb = \n", "file.toml");
    ASSERT_FALSE(root);
    EXPECT_EQ(root.error().kind, ErrorKind::BadFile);
    EXPECT_EQ(root.error().thing, "file.toml:2");
    EXPECT_TRUE(root.error().reason.starts_with("not TOML: ")) << root.error().reason;
    EXPECT_FALSE(parse_toml("a = 1\na = 2\n", "file.toml"));
}

TEST(ReadTextFileTest, GivesAllBytes) {
    const auto file = TemporaryFile::create();
    ASSERT_TRUE(file);
    EXPECT_EQ(read_text_file(file->path()), "");
    const std::string text("a\r\n\0b", 5);
    std::ofstream(file->path(), std::ios::binary) << text;
    EXPECT_EQ(read_text_file(file->path()), text);
}

TEST(ReadTextFileTest, WhatCannotBeReadIsNamedWithTheReason) {
    const auto endless = read_text_file("/dev/zero");
    ASSERT_FALSE(endless);
    EXPECT_EQ(headline(endless.error()), "/dev/zero: is larger than 67108864 bytes");
    const auto missing = read_text_file("/nowhere/file.toml");
    ASSERT_FALSE(missing);
    EXPECT_EQ(missing.error().kind, ErrorKind::BadFile);
    EXPECT_EQ(headline(missing.error()),
              "/nowhere/file.toml: cannot be read: No such file or directory");
    const auto folder = read_text_file("/dev");
    ASSERT_FALSE(folder);
    EXPECT_EQ(headline(folder.error()), "/dev: cannot be read: Is a directory");
}

} // namespace
} // namespace talvor
