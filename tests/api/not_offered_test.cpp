#include "api/not_offered.h"

#include <gtest/gtest.h>

namespace {

TEST(NotOfferedTest, TheClockIsNeitherGeneratedNorMeasured) {
    JSC_Inform handle{};
    bool generate = true;
    bool measure = true;
    EXPECT_EQ(jsc_ClockSupport(&handle, &generate, &measure), 0);
    EXPECT_FALSE(generate || measure);
    EXPECT_EQ(jsc_ClockSupport(nullptr, &generate, &measure), -122);
    EXPECT_EQ(jsc_ClockSupport(&handle, nullptr, &measure), -122);
    EXPECT_EQ(jsc_ClockSupport(&handle, &generate, nullptr), -122);
    EXPECT_EQ(jsc_ClockConfig(&handle, true, 1, 2), -120);
    EXPECT_EQ(jsc_ClockConfig(nullptr, true, 1, 2), -122);
    uint32_t frequency = 99;
    EXPECT_EQ(jsc_ClockMeasure(&handle, &frequency), -120);
    EXPECT_EQ(jsc_ClockMeasure(nullptr, &frequency), -122);
    EXPECT_EQ(jsc_ClockMeasure(&handle, nullptr), -122);
    EXPECT_EQ(frequency, 99U);
    EXPECT_EQ(jsc_ClockSourceArchive(&handle, true), -120);
    EXPECT_EQ(jsc_ClockSourceArchive(nullptr, true), -122);
    bool external = true;
    EXPECT_EQ(jsc_ClockSourceRetrieve(&handle, &external), -120);
    EXPECT_EQ(jsc_ClockSourceRetrieve(nullptr, &external), -122);
    EXPECT_EQ(jsc_ClockSourceRetrieve(&handle, nullptr), -122);
    EXPECT_TRUE(external);
}

TEST(NotOfferedTest, ThereAreNoPodFeatures) {
    JSC_Inform handle{};
    bool supported = true;
    EXPECT_EQ(jsc_PodConfig(&handle, 1, true, &supported, 2, true), 0);
    EXPECT_FALSE(supported);
    EXPECT_EQ(jsc_PodConfig(nullptr, 1, true, &supported, 2, true), -122);
    EXPECT_EQ(jsc_PodConfig(&handle, 1, true, nullptr, 2, true), -122);
    supported = true;
    EXPECT_EQ(tbc_PodConfig(&handle, 1, true, &supported, 2, true), 0);
    EXPECT_FALSE(supported);
    EXPECT_EQ(tbc_PodConfig(nullptr, 1, true, &supported, 2, true), -122);
    EXPECT_EQ(tbc_PodConfig(&handle, 1, true, nullptr, 2, true), -122);
}

TEST(NotOfferedTest, ThereAreNoSelfTests) {
    JSC_Inform handle{};
    bool known = true;
    EXPECT_EQ(jsc_Test(&handle, eJSC_LOGFILE_ID_TEST, &known, 1, 2), 0);
    EXPECT_FALSE(known);
    EXPECT_EQ(jsc_Test(nullptr, eJSC_LOGFILE_ID_TEST, &known, 1, 2), -122);
    EXPECT_EQ(jsc_Test(&handle, eJSC_LOGFILE_ID_TEST, nullptr, 1, 2), -122);
}

TEST(NotOfferedTest, ThereIsNoSerialWireDebug) {
    uint32_t data = 99;
    EXPECT_EQ(jsc_SwdRegRead(nullptr, 0, 0, nullptr), -120);
    EXPECT_EQ(jsc_SwdRegRead(&data, 0, 0, &data), -120);
    EXPECT_EQ(jsc_SwdRegWrite(nullptr, 0, 0, nullptr, false), -120);
    EXPECT_EQ(jsc_SwdRegWrite(&data, 0, 0, &data, true), -120);
    EXPECT_EQ(data, 99U);
}

} // namespace
