#include "sys/object_name.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <string>

namespace {

char driver[] = "talvor-driver";

// The name as a hash over the concatenation of all the texts.
std::string model(const std::string& texts) {
    uint32_t hash = 5381;
    for (const char character : texts) {
        hash = hash * 33 ^ static_cast<uint32_t>(static_cast<signed char>(character));
    }
    char text[16];
    std::snprintf(text, sizeof text, "JTI-%08x", hash);
    return text;
}

TEST(ObjectNameTest, HashesTheNamesAndThePortInOrder) {
    char name[13];
    EXPECT_EQ(sys_Str0GetObjectName(name, 12, "control", "one", "two", driver, 0x2B0), 0);
    EXPECT_EQ(name, model("controlonetwotalvor-driver000002b0"));
    EXPECT_EQ(std::strlen(name), 12U);
    EXPECT_EQ(sys_Str0GetObjectName(name, 12, "", "", "", driver, 0xFFFFFFFF), 0);
    EXPECT_EQ(name, model("talvor-driverffffffff"));
    char empty[] = "";
    EXPECT_EQ(sys_Str0GetObjectName(name, 12, "a", "", "", empty, 0), 0);
    EXPECT_EQ(name, model("a00000000"));
}

TEST(ObjectNameTest, ADifferentPortGivesADifferentName) {
    char one[13];
    char two[13];
    sys_Str0GetObjectName(one, 12, "a", "b", "c", driver, 1);
    sys_Str0GetObjectName(two, 12, "a", "b", "c", driver, 2);
    EXPECT_STRNE(one, two);
}

TEST(ObjectNameTest, Writes13BytesEvenWithALengthOf12) {
    char name[16];
    std::memset(name, 'x', sizeof name);
    EXPECT_EQ(sys_Str0GetObjectName(name, 12, "a", "b", "c", driver, 1), 0);
    EXPECT_EQ(name[12], '\0');
    EXPECT_EQ(name[13], 'x');
}

TEST(ObjectNameTest, ClearsTheWholeLengthFirst) {
    char name[24];
    std::memset(name, 'x', sizeof name);
    EXPECT_EQ(sys_Str0GetObjectName(name, 20, "a", "b", "c", driver, 1), 0);
    for (size_t at = 12; at < 20; ++at) {
        EXPECT_EQ(name[at], '\0') << at;
    }
    EXPECT_EQ(name[20], 'x');
}

TEST(ObjectNameTest, ALengthBelow12FailsUnchanged) {
    for (const uint32_t length : {0U, 1U, 11U}) {
        char name[16] = "before";
        EXPECT_EQ(sys_Str0GetObjectName(name, length, "a", "b", "c", driver, 1), 1) << length;
        EXPECT_STREQ(name, "before");
    }
}

TEST(ObjectNameTest, NullFailsUnchanged) {
    char name[16] = "before";
    EXPECT_EQ(sys_Str0GetObjectName(nullptr, 12, "a", "b", "c", driver, 1), 1);
    EXPECT_EQ(sys_Str0GetObjectName(name, 12, nullptr, "b", "c", driver, 1), 1);
    EXPECT_EQ(sys_Str0GetObjectName(name, 12, "a", nullptr, "c", driver, 1), 1);
    EXPECT_EQ(sys_Str0GetObjectName(name, 12, "a", "b", nullptr, driver, 1), 1);
    EXPECT_EQ(sys_Str0GetObjectName(name, 12, "a", "b", "c", nullptr, 1), 1);
    EXPECT_STREQ(name, "before");
}

} // namespace
