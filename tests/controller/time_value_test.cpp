#include "controller/time_value.h"

#include <gtest/gtest.h>

#include <cstring>

namespace {

class TimeValueTest : public testing::Test {
protected:
    TimeValueTest() { inform.pJscControl = &control; }

    JSC_TimeDependancy& old_set() { return control.timeDependOld; }
    JSC_TimeDependancy& new_set() { return control.timeDependNew; }

    JSC_Control control{};
    JSC_Inform inform{};
};

constexpr uint32_t kDefaultsUs[] = {500,    10000,  10000, 500,    10000, 0,      2000,
                                    10000,  2000,   20000, 2000,   20000, 500000, 500000,
                                    500000, 500000, 2000,  500000, 2000,  20000};

JSC_TimeType type_of(int number) {
    return static_cast<JSC_TimeType>(number);
}

TEST_F(TimeValueTest, EachTypeHasItsDefault) {
    for (const bool stall : {false, true}) {
        inform.tbcVariable.okStall = stall;
        EXPECT_EQ(TimeValueInitial(&inform), 0);
        for (int type = 1; type <= 20; ++type) {
            uint32_t value = 77;
            bool forever = !stall;
            EXPECT_EQ(TimeValueQuery(&inform, type_of(type), &value, &forever), 0);
            EXPECT_EQ(value, kDefaultsUs[type - 1]) << type;
            EXPECT_EQ(forever, stall && type >= 13) << type;
            value = 77;
            EXPECT_EQ(TimeValueQuery(&inform, type_of(type), &value), 0);
            EXPECT_EQ(value, kDefaultsUs[type - 1]) << type;
        }
    }
}

TEST_F(TimeValueTest, TypesFollowTheFields) {
    auto* const words = reinterpret_cast<uint32_t*>(&control.timeValue);
    for (uint32_t index = 0; index < 12; ++index) {
        words[index] = 100 + index;
    }
    control.timeValue.tclkoPeriodValue = 113;
    control.timeValue.extraFinishValue = 120;
    control.timeValue.extraFinishForever = true;
    uint32_t value = 0;
    bool forever = true;
    EXPECT_EQ(TimeValueQuery(&inform, type_of(1), &value, &forever), 0);
    EXPECT_EQ(value, 100U);
    EXPECT_FALSE(forever);
    EXPECT_EQ(TimeValueQuery(&inform, type_of(12), &value, &forever), 0);
    EXPECT_EQ(value, 111U);
    EXPECT_EQ(TimeValueQuery(&inform, type_of(13), &value, &forever), 0);
    EXPECT_EQ(value, 113U);
    EXPECT_FALSE(forever);
    EXPECT_EQ(TimeValueQuery(&inform, type_of(20), &value, &forever), 0);
    EXPECT_EQ(value, 120U);
    EXPECT_TRUE(forever);
}

TEST_F(TimeValueTest, OtherTypesAreRefusedAndZeroTheOutputs) {
    TimeValueInitial(&inform);
    for (const int type : {INT32_MIN, -1, 0, 21, INT32_MAX}) {
        uint32_t value = 77;
        bool forever = true;
        EXPECT_EQ(TimeValueQuery(&inform, type_of(type), &value, &forever), -122) << type;
        EXPECT_EQ(value, 0U);
        EXPECT_FALSE(forever);
        value = 77;
        EXPECT_EQ(TimeValueQuery(&inform, type_of(type), &value), -122) << type;
        EXPECT_EQ(value, 0U);
    }
}

TEST_F(TimeValueTest, ANullOutputIsPassedOver) {
    TimeValueInitial(&inform);
    uint32_t value = 77;
    bool forever = true;
    for (const int type : {1, 21}) {
        EXPECT_EQ(TimeValueQuery(&inform, type_of(type), &value, nullptr), 0);
        EXPECT_EQ(TimeValueQuery(&inform, type_of(type), nullptr, &forever), 0);
        EXPECT_EQ(TimeValueQuery(&inform, type_of(type), nullptr), 0);
    }
    EXPECT_EQ(value, 77U);
    EXPECT_TRUE(forever);
}

TEST_F(TimeValueTest, ApplyingNeedsNothing) {
    const JSC_Control before = control;
    EXPECT_EQ(TimeValueApply(&inform), 0);
    EXPECT_EQ(TimeValueApply(nullptr), 0);
    EXPECT_EQ(std::memcmp(&before, &control, sizeof control), 0);
}

struct TimeoutCase {
    const char* name;
    uint32_t expected;
    void (*set)(JSC_Inform&, JSC_Control&);
};

class TimeoutTest : public TimeValueTest, public testing::WithParamInterface<TimeoutCase> {};

TEST_P(TimeoutTest, FollowsTheCommandInFlight) {
    old_set().tclkFreq = 20000;
    old_set().commandRepeat = 1;
    old_set().mainCount = 100;
    control.ambleDelay.preAmbleIR = 1;
    control.ambleDelay.posAmbleIR = 10;
    control.ambleDelay.preAmbleDR = 100;
    control.ambleDelay.posAmbleDR = 1000;
    // The collected set is not looked at.
    new_set() = {.noTimeOut = true,
                 .fastMode = true,
                 .slowMode = true,
                 .tclkFreq = 1,
                 .useMain = true,
                 .useAmble = true,
                 .useIrPath = true,
                 .mainCount = 12345,
                 .commandRepeat = 99};
    GetParam().set(inform, control);
    EXPECT_EQ(TimeModifyTimeout(&inform), GetParam().expected);
}

// 2,097,152 units a bit, divided by the frequency.
INSTANTIATE_TEST_SUITE_P(
    AllDependencies, TimeoutTest,
    testing::Values(
        TimeoutCase{"NoMainScan", 1677, [](JSC_Inform&, JSC_Control&) {}},
        TimeoutCase{
            "MainScan", 12163,
            [](JSC_Inform&, JSC_Control& control) { control.timeDependOld.useMain = true; }},
        TimeoutCase{"EndDelay", 2097152 * 21ULL / 20000,
                    [](JSC_Inform&, JSC_Control& control) {
                        control.ambleDelay.endDelay1 = 5;
                        control.ambleDelay.endDelay0 = 1000;
                        control.ambleDelay.endDelay2 = 1000;
                    }},
        TimeoutCase{
            "AmbleOfDataPath", 2097152 * 1116ULL / 20000,
            [](JSC_Inform&, JSC_Control& control) { control.timeDependOld.useAmble = true; }},
        TimeoutCase{"AmbleOfInstructionPath", 2097152 * 27ULL / 20000,
                    [](JSC_Inform&, JSC_Control& control) {
                        control.timeDependOld.useAmble = true;
                        control.timeDependOld.useIrPath = true;
                    }},
        TimeoutCase{
            "InstructionPathWithoutAmble", 1677,
            [](JSC_Inform&, JSC_Control& control) { control.timeDependOld.useIrPath = true; }},
        TimeoutCase{
            "Repeats", 2097152 * 16ULL * 7 / 20000,
            [](JSC_Inform&, JSC_Control& control) { control.timeDependOld.commandRepeat = 7; }},
        TimeoutCase{
            "NoRepeat", 0,
            [](JSC_Inform&, JSC_Control& control) { control.timeDependOld.commandRepeat = 0; }},
        TimeoutCase{"BitsWrapAt32Bits", 2097152 * 15ULL / 20000,
                    [](JSC_Inform&, JSC_Control& control) {
                        control.timeDependOld.useMain = true;
                        control.timeDependOld.mainCount = UINT32_MAX;
                    }},
        TimeoutCase{"RepeatsWrapAt32Bits", 2097152 * 16ULL / 20000,
                    [](JSC_Inform&, JSC_Control& control) {
                        control.timeDependOld.commandRepeat = 0x10000001;
                    }},
        TimeoutCase{
            "TestClock", 2097152 * 16ULL / 10'000'000,
            [](JSC_Inform&, JSC_Control& control) { control.timeDependOld.tclkFreq = 10'000'000; }},
        TimeoutCase{"SlowClock", 2097152 * 16ULL / 250,
                    [](JSC_Inform& inform, JSC_Control&) {
                        inform.tbcVariable.slowClock = true;
                        inform.tbcVariable.slowFreq = 250;
                    }},
        TimeoutCase{"SlowFrequencyWithoutSlowClock", 1677,
                    [](JSC_Inform& inform, JSC_Control&) { inform.tbcVariable.slowFreq = 250; }},
        // (2^32 - 2^4) * 2^21 / 1, cut to 32 bits.
        TimeoutCase{"QuotientCutTo32Bits", static_cast<uint32_t>(0xFFFFFFF0ULL << 21),
                    [](JSC_Inform&, JSC_Control& control) {
                        control.timeDependOld.tclkFreq = 1;
                        control.timeDependOld.useMain = true;
                        control.timeDependOld.mainCount = 0xFFFFFFE0;
                    }},
        TimeoutCase{"NoFrequency", 0,
                    [](JSC_Inform&, JSC_Control& control) { control.timeDependOld.tclkFreq = 0; }}),
    [](const auto& instance) { return instance.param.name; });

TEST_F(TimeValueTest, UpdatingMovesTheCollectedSet) {
    const JSC_TimeDependancy collected = {.noTimeOut = true,
                                          .fastMode = true,
                                          .slowMode = false,
                                          .tclkFreq = 1234,
                                          .useMain = true,
                                          .useAmble = true,
                                          .useIrPath = true,
                                          .mainCount = 55,
                                          .commandRepeat = 6};
    new_set() = collected;
    EXPECT_EQ(TimeModifyUpdate(&inform), 0);
    EXPECT_EQ(std::memcmp(&old_set(), &collected, sizeof collected), 0);
    EXPECT_TRUE(new_set().noTimeOut);
    EXPECT_TRUE(new_set().fastMode);
    EXPECT_FALSE(new_set().slowMode);
    EXPECT_EQ(new_set().tclkFreq, 1234U);
    EXPECT_FALSE(new_set().useMain);
    EXPECT_FALSE(new_set().useAmble);
    EXPECT_FALSE(new_set().useIrPath);
    EXPECT_EQ(new_set().mainCount, 0U);
    EXPECT_EQ(new_set().commandRepeat, 1U);
}

TEST_F(TimeValueTest, NeedsAHandleAndAControllerBlock) {
    uint32_t value = 77;
    bool forever = true;
    EXPECT_EQ(TimeValueInitial(nullptr), -122);
    EXPECT_EQ(TimeModifyUpdate(nullptr), -122);
    EXPECT_EQ(TimeModifyTimeout(nullptr), 0U);
    EXPECT_EQ(TimeValueQuery(nullptr, type_of(1), &value, &forever), -122);
    EXPECT_EQ(value, 0U);
    EXPECT_FALSE(forever);
    inform.pJscControl = nullptr;
    EXPECT_EQ(TimeValueInitial(&inform), -116);
    EXPECT_EQ(TimeModifyUpdate(&inform), -116);
    EXPECT_EQ(TimeModifyTimeout(&inform), 0U);
    EXPECT_EQ(TimeValueQuery(&inform, type_of(1), &value, &forever), -116);
}

} // namespace
