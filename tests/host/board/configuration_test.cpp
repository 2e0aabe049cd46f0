#include "host/board/configuration.h"

#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <string>

namespace talvor {
namespace {

KeyStore some_keys() {
    KeyStore keys;
    keys.set("KELM.POD_TCKDIV", "12");
    keys.set("VEXIL.LINKDLY", "-5");
    keys.set("KELM.POD_AW_EN", "Yes");
    keys.set("KELM.POD_DRVR", "/opt/libpod.so");
    return keys;
}

class ConfigurationTest : public testing::Test {
protected:
    JBD_Context entry(const char* name, bool expected_found) {
        JBD_Context context = nullptr;
        bool found = !expected_found;
        EXPECT_EQ(table.GetContextHandle(handle, global, name, &context, &found), 0);
        EXPECT_EQ(found, expected_found) << name;
        return context;
    }

    Configuration configuration{some_keys()};
    CFG_Interface& table = *configuration.table();
    CFG_Handle handle = configuration.handle();
    uint32_t global = [this] {
        uint32_t id = 0;
        bool found = false;
        EXPECT_EQ(table.GetContextIdGlobal(handle, &id, &found), 0);
        EXPECT_TRUE(found);
        return id;
    }();
};

TEST_F(ConfigurationTest, FillsEverySlot) {
    const auto slots = std::bit_cast<std::array<CFG_Unused_t, 88>>(table);
    for (size_t i = 0; i < slots.size(); ++i) {
        EXPECT_NE(slots[i], nullptr) << "slot " << i;
    }
}

TEST_F(ConfigurationTest, SlotsThatTheDriverNeverCallsAnswerAnError) {
    const auto slots = std::bit_cast<std::array<CFG_Unused_t, 88>>(table);
    constexpr std::array<size_t, 7> kCalled{8, 9, 12, 14, 16, 17, 81};
    size_t errors = 0;
    for (size_t i = 0; i < slots.size(); ++i) {
        if (std::find(kCalled.begin(), kCalled.end(), i) == kCalled.end()) {
            EXPECT_EQ(slots[i](), HostErrorNotCalled) << "slot " << i;
            ++errors;
        }
    }
    EXPECT_EQ(errors, 81U);
}

TEST_F(ConfigurationTest, TheGlobalContextIsNotTheInvalidOne) {
    uint32_t invalid = global;
    EXPECT_EQ(table.GetContextIdInvalid(handle, &invalid), 0);
    EXPECT_NE(invalid, global);
}

TEST_F(ConfigurationTest, ReadsEachType) {
    uint32_t number = 0;
    EXPECT_EQ(table.GetContextUnsign32(handle, entry("KELM.POD_TCKDIV", true), &number), 0);
    EXPECT_EQ(number, 12U);
    int32_t with_sign = 0;
    EXPECT_EQ(table.GetContextSigned32(handle, entry("VEXIL.LINKDLY", true), &with_sign), 0);
    EXPECT_EQ(with_sign, -5);
    bool truth = false;
    EXPECT_EQ(table.GetContextBoolean(handle, entry("KELM.POD_AW_EN", true), &truth), 0);
    EXPECT_TRUE(truth);
    uint32_t length = 0;
    const char* text = nullptr;
    EXPECT_EQ(table.GetContextString(handle, entry("KELM.POD_DRVR", true), &length, &text), 0);
    EXPECT_EQ(length, 14U);
    EXPECT_STREQ(text, "/opt/libpod.so");
}

TEST_F(ConfigurationTest, AbsentKeysReadAsEmptyValues) {
    JBD_Context absent = entry("KELM.RMT_HOST", false);
    ASSERT_NE(absent, nullptr);
    uint32_t number = 7;
    EXPECT_EQ(table.GetContextUnsign32(handle, absent, &number), 0);
    EXPECT_EQ(number, 0U);
    int32_t with_sign = 7;
    EXPECT_EQ(table.GetContextSigned32(handle, absent, &with_sign), 0);
    EXPECT_EQ(with_sign, 0);
    bool truth = true;
    EXPECT_EQ(table.GetContextBoolean(handle, absent, &truth), 0);
    EXPECT_FALSE(truth);
    uint32_t length = 7;
    const char* text = nullptr;
    EXPECT_EQ(table.GetContextString(handle, absent, &length, &text), 0);
    EXPECT_EQ(length, 0U);
    EXPECT_STREQ(text, "");
}

TEST_F(ConfigurationTest, ValuesOfAnotherTypeAreRefused) {
    JBD_Context path = entry("KELM.POD_DRVR", true);
    uint32_t number = 0;
    EXPECT_EQ(table.GetContextUnsign32(handle, path, &number), HostErrorNotANumber);
    int32_t with_sign = 0;
    EXPECT_EQ(table.GetContextSigned32(handle, path, &with_sign), HostErrorNotANumber);
    bool truth = false;
    EXPECT_EQ(table.GetContextBoolean(handle, path, &truth), HostErrorNotABoolean);
    EXPECT_EQ(table.GetContextUnsign32(handle, entry("VEXIL.LINKDLY", true), &number),
              HostErrorNotANumber);
}

TEST_F(ConfigurationTest, BadCallsAreRefused) {
    uint32_t number = 0;
    bool found = false;
    JBD_Context context = nullptr;
    EXPECT_EQ(table.GetContextIdInvalid(handle, nullptr), HostErrorBadEntry);
    EXPECT_EQ(table.GetContextIdGlobal(handle, &number, nullptr), HostErrorBadEntry);
    EXPECT_EQ(table.GetContextHandle(handle, global + 1, "X", &context, &found), HostErrorBadEntry);
    EXPECT_EQ(table.GetContextHandle(handle, global, nullptr, &context, &found), HostErrorBadEntry);
    EXPECT_EQ(table.GetContextUnsign32(handle, nullptr, &number), HostErrorBadEntry);
}

TEST_F(ConfigurationTest, RemembersWhatWasAskedFor) {
    EXPECT_EQ(configuration.last_key(), "");
    (void)entry("KELM.POD_SN", false);
    (void)entry("KELM.POD_TCKDIV", true);
    EXPECT_EQ(configuration.last_key(), "KELM.POD_TCKDIV");
    const std::vector<Key> unread = configuration.unread();
    ASSERT_EQ(unread.size(), 3U);
    EXPECT_EQ(unread[0].name, "VEXIL.LINKDLY");
    EXPECT_EQ(unread[2].name, "KELM.POD_DRVR");
}

struct NumberCase {
    const char* text;
    bool unsigned_good;
    uint32_t unsigned_value;
    bool signed_good;
    int32_t signed_value;
};

TEST(ParseNumberTest, FollowsTheRules) {
    constexpr NumberCase kCases[] = {
        {"0", true, 0, true, 0},
        {"42", true, 42, true, 42},
        {"+42", true, 42, true, 42},
        {"-1", false, 0, true, -1},
        {"0x1F", true, 31, true, 31},
        {"0XfF", true, 255, true, 255},
        {"-0x10", false, 0, true, -16},
        {"4294967295", true, 4294967295U, false, 0},
        {"4294967296", false, 0, false, 0},
        {"2147483647", true, 2147483647U, true, 2147483647},
        {"2147483648", true, 2147483648U, false, 0},
        {"-2147483648", false, 0, true, -2147483647 - 1},
        {"-2147483649", false, 0, false, 0},
        {"010", true, 10, true, 10},
        {"", false, 0, false, 0},
        {"+", false, 0, false, 0},
        {"0x", false, 0, false, 0},
        {" 1", false, 0, false, 0},
        {"1 ", false, 0, false, 0},
        {"1.0", false, 0, false, 0},
        {"--1", false, 0, false, 0},
        {"+-1", false, 0, false, 0},
    };
    for (const NumberCase& one : kCases) {
        uint32_t number = 0;
        EXPECT_EQ(parse_unsigned(one.text, number), one.unsigned_good) << one.text;
        int32_t with_sign = 0;
        EXPECT_EQ(parse_signed(one.text, with_sign), one.signed_good) << one.text;
        if (one.unsigned_good) {
            EXPECT_EQ(number, one.unsigned_value) << one.text;
        }
        if (one.signed_good) {
            EXPECT_EQ(with_sign, one.signed_value) << one.text;
        }
    }
}

TEST(ParseBooleanTest, KnowsItsWordsInAnyCase) {
    for (const char* text : {"true", "TRUE", "yes", "On", "enable", "1"}) {
        bool value = false;
        EXPECT_TRUE(parse_boolean(text, value)) << text;
        EXPECT_TRUE(value) << text;
    }
    for (const char* text : {"false", "No", "off", "DISABLE", "0"}) {
        bool value = true;
        EXPECT_TRUE(parse_boolean(text, value)) << text;
        EXPECT_FALSE(value) << text;
    }
    for (const char* text : {"", "2", "tru", "truee", " true"}) {
        bool value = false;
        EXPECT_FALSE(parse_boolean(text, value)) << text;
    }
}

} // namespace
} // namespace talvor
