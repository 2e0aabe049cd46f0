#include "api/firmware.h"

#include <gtest/gtest.h>

namespace {

// Firmware operations need a handle and nothing of it.
class FirmwareTest : public testing::Test {
protected:
    JSC_Inform handle{};
    bool known = true;
    bool support = true;
    uint32_t number = 99;
    uint8_t data[4] = {};
    JSC_FirmwareAction action{};

    int32_t config(uint8_t* bytes, uint32_t size) {
        return jsc_FirmwareConfig(&handle, eJSC_FIRMWARE_ID_EMULATOR, &known, &support, &action, 1,
                                  2, bytes, size, &number);
    }
};

TEST_F(FirmwareTest, NoneIsKnownOrSupported) {
    for (const int id : {-1, 0, 1, 2, 3, 4, 5}) {
        known = support = true;
        number = 99;
        const auto firmware = static_cast<JSC_FirmwareId>(id);
        EXPECT_EQ(jsc_FirmwareSupport(&handle, firmware, &known, &support), 0);
        EXPECT_FALSE(known || support);
        known = support = true;
        EXPECT_EQ(jsc_FirmwareVersion(&handle, firmware, &known, &support, &number), 0);
        EXPECT_FALSE(known || support);
        EXPECT_EQ(number, 0U);
    }
}

TEST_F(FirmwareTest, NothingIsEverLoaded) {
    EXPECT_EQ(config(nullptr, 0), 0) << "without a load no data is needed";
    EXPECT_FALSE(known || support);
    EXPECT_EQ(number, 0U);
    action.firmwareExternal = true;
    EXPECT_EQ(config(nullptr, 0), 0);
    action.firmwareExternal = false;
    action.firmwareLoadData = true;
    EXPECT_EQ(config(nullptr, 0), 0);
    action.firmwareExternal = true;
    number = 99;
    known = support = true;
    EXPECT_EQ(config(data, 4), 0);
    EXPECT_FALSE(known || support);
    EXPECT_EQ(number, 0U);
}

TEST_F(FirmwareTest, ALoadNeedsItsData) {
    action.firmwareExternal = action.firmwareLoadData = true;
    EXPECT_EQ(config(nullptr, 4), -122);
    EXPECT_EQ(config(data, 0), -122);
    EXPECT_TRUE(known && support) << "nothing is touched";
    EXPECT_EQ(number, 99U);
}

TEST_F(FirmwareTest, ChecksItsArguments) {
    constexpr JSC_FirmwareId kId = eJSC_FIRMWARE_ID_CLIENT;
    EXPECT_EQ(jsc_FirmwareSupport(nullptr, kId, &known, &support), -122);
    EXPECT_EQ(jsc_FirmwareSupport(&handle, kId, nullptr, &support), -122);
    EXPECT_EQ(jsc_FirmwareSupport(&handle, kId, &known, nullptr), -122);
    EXPECT_EQ(jsc_FirmwareVersion(nullptr, kId, &known, &support, &number), -122);
    EXPECT_EQ(jsc_FirmwareVersion(&handle, kId, nullptr, &support, &number), -122);
    EXPECT_EQ(jsc_FirmwareVersion(&handle, kId, &known, nullptr, &number), -122);
    EXPECT_EQ(jsc_FirmwareVersion(&handle, kId, &known, &support, nullptr), -122);
    const auto refused = [&](JSC_Inform* inform, bool* k, bool* s, JSC_FirmwareAction* a,
                             uint32_t* used) {
        return jsc_FirmwareConfig(inform, kId, k, s, a, 1, 2, data, 4, used);
    };
    EXPECT_EQ(refused(nullptr, &known, &support, &action, &number), -122);
    EXPECT_EQ(refused(&handle, nullptr, &support, &action, &number), -122);
    EXPECT_EQ(refused(&handle, &known, nullptr, &action, &number), -122);
    EXPECT_EQ(refused(&handle, &known, &support, nullptr, &number), -122);
    EXPECT_EQ(refused(&handle, &known, &support, &action, nullptr), -122);
    EXPECT_TRUE(known && support);
    EXPECT_EQ(number, 99U);
}

} // namespace
