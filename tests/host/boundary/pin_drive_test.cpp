#include "host/boundary/compliance.h"
#include "host/boundary/pin_drive.h"
#include "host/boundary/plan.h"
#include "host/jtag/null_port.h"
#include "tests/host/boundary/two_parts.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace talvor::boundary {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class PinDriveTest : public testing::Test {
protected:
    [[nodiscard]] std::vector<PinSetting> settings(const std::vector<std::string>& words) const {
        std::vector<PinSetting> list;
        for (const std::string& word : words) {
            list.push_back(*parse_setting(access_.members(), word));
        }
        return list;
    }

    NullPort port_;
    Access access_{port_, two_parts()};
    std::vector<std::string> notes_;
};

TEST_F(PinDriveTest, PutsSettingsIntoTheImagesOfTheirDevices) {
    const auto images =
        images_with(access_, settings({"u3.Q(0)=1", "u3.Q(1)=0"}), {}, access_.safe(), notes_);
    ASSERT_TRUE(images) << headline(images.error());
    EXPECT_EQ((*images)[0], access_.safe()[0]);
    EXPECT_EQ((*images)[2].to_uint(), 0b1010U) << "enabled, Q(0) high";
    EXPECT_THAT(notes_, IsEmpty());
}

TEST_F(PinDriveTest, WhatHappensToOtherPinsIsRefusedOrTold) {
    const auto refused = images_with(access_, settings({"u1.Q(0)=1"}), {}, access_.safe(), notes_);
    ASSERT_FALSE(refused);
    EXPECT_EQ(refused.error().kind, ErrorKind::Refused);
    EXPECT_EQ(headline(refused.error()), "u1: a shared cell also enables u1.Q(1)");
    const auto accepted =
        images_with(access_, settings({"u1.Q(0)=1"}), {.accepted = true}, access_.safe(), notes_);
    ASSERT_TRUE(accepted);
    EXPECT_THAT(notes_, ElementsAre("this also enables u1.Q(1)"));
}

TEST_F(PinDriveTest, TakesFurtherSettingsOnTopOfOthers) {
    const auto first =
        images_with(access_, settings({"u1.Q(0)=1", "u1.Q(1)=1"}), {}, access_.safe(), notes_);
    ASSERT_TRUE(first);
    const auto second = images_with(access_, settings({"u1.Q(0)=0"}), {}, *first, notes_);
    ASSERT_TRUE(second) << headline(second.error());
    EXPECT_EQ((*second)[0].to_uint(), 0b1100U);
    const auto low = images_at(access_, settings({"u1.Q(0)=1", "u1.Q(1)=1"}), Level::Low, *second);
    ASSERT_TRUE(low);
    EXPECT_EQ((*low)[0].to_uint(), 0b1000U);
}

TEST_F(PinDriveTest, LeavesDevicesThatNobodyNamedInBypass) {
    EXPECT_THAT(instructions_for(access_, settings({"u3.Q(0)=1"}), Instruction::Extest),
                ElementsAre(Instruction::Bypass, Instruction::Bypass, Instruction::Extest));
    EXPECT_THAT(instructions_for(access_, {}, Instruction::HighZ),
                ElementsAre(Instruction::HighZ, Instruction::Bypass, Instruction::HighZ));
}

TEST_F(PinDriveTest, TellsWhatSomethingElseDrives) {
    const PinAddress address{0, find_pin(access_.members(), "u1.Q(0)")->signal};
    EXPECT_EQ(contention_text(access_.members(), {address, Level::High, Level::Low}),
              "u1.Q(0) is set to 1 and reads 0: something else drives it");
    EXPECT_EQ(contention_text(access_.members(), {address, Level::High, Level::Z}),
              "u1.Q(0) is set to 1 and reads Z: it drives the other level only");
    EXPECT_EQ(contention_text(access_.members(), {address, Level::High, Level::High}), "");
    EXPECT_EQ(contention_text(access_.members(), {address, Level::Z, Level::High}), "");
    EXPECT_EQ(contention_text(access_.members(), {address, Level::High, std::nullopt}), "");
}

TEST_F(PinDriveTest, ComplianceIsSaidOfDevicesThatHavePatterns) {
    EXPECT_EQ(compliance_condition(access_.members()[0]),
              "complies with IEEE 1149.1 only while MODE = 0");
    EXPECT_EQ(compliance_condition(access_.members()[1]), "");
}

} // namespace
} // namespace talvor::boundary
