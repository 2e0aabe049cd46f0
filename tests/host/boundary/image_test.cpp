#include "host/boundary/image.h"
#include "tests/host/boundary/parts.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace talvor::boundary {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using enum Level;

class ImageTest : public testing::Test {
protected:
    [[nodiscard]] size_t signal(const std::string& name) const {
        return signal_of(plan_.device(), name);
    }
    [[nodiscard]] Setting set(const std::string& name, Level level) const {
        return {signal(name), level};
    }
    [[nodiscard]] const Pin& pin(const std::string& name) const {
        return *plan_.find(signal(name));
    }
    Result<SideEffects> put(const std::vector<Setting>& settings) {
        return put_levels(plan_, settings, image_);
    }
    // `image` with one cell of another content.
    [[nodiscard]] static Bits with(Bits image, size_t cell, bool value) {
        image.set(cell, value);
        return image;
    }

    Plan plan_ = *Plan::make(make_part());
    Bits image_ = plan_.safe();
};

TEST_F(ImageTest, SetsATwoStateOutput) {
    EXPECT_TRUE(put({set("OUT", Low)})->none());
    EXPECT_EQ(image_, with(plan_.safe(), 2, false));
}

TEST_F(ImageTest, SetsDataAndControlOfAThreeStateOutput) {
    EXPECT_TRUE(put({set("PB", High)})->none());
    EXPECT_EQ(image_, with(with(plan_.safe(), 8, true), 9, true));
    EXPECT_TRUE(put({set("PB", Z)})->none());
    EXPECT_EQ(image_, with(plan_.safe(), 8, true));
}

TEST_F(ImageTest, NamesOutputsThatASharedControlEnables) {
    const auto effects = put({set("PA(0)", Low)});
    ASSERT_TRUE(effects);
    EXPECT_THAT(effects->enabled, ElementsAre(signal("PA(1)")));
    EXPECT_FALSE(effects->none());
    EXPECT_EQ(driven_level(plan_, pin("PA(1)"), image_), High); // its safe value
    EXPECT_TRUE(put({set("PA(1)", Low)})->none());              // it drives already
    EXPECT_THAT(put({set("PA(0)", Z)})->disabled, ElementsAre(signal("PA(1)")));
}

TEST_F(ImageTest, TakesTwoOutputsOfOneControlTogether) {
    EXPECT_TRUE(put({set("PA(0)", High), set("PA(1)", Low)})->none());
    EXPECT_EQ(image_, with(with(with(plan_.safe(), 4, true), 6, false), 7, false));
}

TEST_F(ImageTest, RefusesSettingsThatWantDifferentThingsOfACell) {
    const auto effects = put({set("PA(0)", High), set("PA(1)", Z)});
    ASSERT_FALSE(effects);
    EXPECT_EQ(effects.error().kind, ErrorKind::Refused);
    EXPECT_EQ(headline(effects.error()),
              "PA(1)=Z: cell 7 would have to be 1 for it, and 0 for PA(0)=1");
    EXPECT_EQ(image_, plan_.safe());
    EXPECT_FALSE(put({set("OUT", High), set("OUT", Low)}));
}

TEST_F(ImageTest, LetsAnOpenCollectorGoByItsOwnCell) {
    EXPECT_TRUE(put({set("OC", Low)})->none());
    EXPECT_EQ(image_, with(plan_.safe(), 10, false));
    EXPECT_EQ(driven_level(plan_, pin("OC"), image_), Low);
    for (const Level level : {High, Z}) {
        image_.set(10, false);
        EXPECT_TRUE(put({set("OC", level)})->none());
        EXPECT_EQ(image_, plan_.safe());
        EXPECT_EQ(driven_level(plan_, pin("OC"), image_), Z);
    }
}

TEST_F(ImageTest, NamesOutputsThatASharedCellDrives) {
    auto device = std::make_shared<bsdl::Device>(plan_.device());
    device->cells.push_back(device->cells[2]);
    device->cells.back().signal = signal("VCC");
    const Plan plan = *Plan::make(device);
    const std::vector<Setting> settings{set("OUT", Low)};
    EXPECT_THAT(put_levels(plan, settings, image_)->driven, ElementsAre(signal("VCC")));
}

TEST_F(ImageTest, RefusesWhatThePinCannot) {
    EXPECT_THAT(headline(put({set("IN", High)}).error()),
                "IN=1: the boundary register cannot drive this pin");
    EXPECT_THAT(headline(put({set("VCC", High)}).error()), HasSubstr("cannot drive"));
    EXPECT_EQ(headline(put({set("OUT", Z)}).error()),
              "OUT=Z: no control cell disables this output");
}

TEST_F(ImageTest, GivesInputsToTheSystemLogic) {
    const std::vector<Setting> settings{set("IN", High), set("PB", High)};
    ASSERT_TRUE(put_core_inputs(plan_, settings, image_));
    EXPECT_EQ(image_, with(with(plan_.safe(), 1, true), 8, true));
    const std::vector<Setting> output{set("OUT", High)};
    const std::vector<Setting> watched{set("PA(0)", High)}; // by a cell that gives nothing
    const std::vector<Setting> high_z{set("IN", Z)};
    for (const auto& wrong : {output, watched, high_z}) {
        const Status done = put_core_inputs(plan_, wrong, image_);
        ASSERT_FALSE(done);
        EXPECT_EQ(done.error().kind, ErrorKind::Refused);
    }
}

TEST_F(ImageTest, ReadsASample) {
    Bits captured(plan_.bits());
    EXPECT_EQ(sampled_level(plan_, pin("IN"), with(captured, 1, true)), High);
    EXPECT_EQ(sampled_level(plan_, pin("IN"), captured), Low);
    EXPECT_EQ(sampled_level(plan_, pin("OUT"), with(captured, 2, true)), High);
    // The watching cell, not the output's.
    EXPECT_EQ(sampled_level(plan_, pin("PA(0)"), with(captured, 4, true)), Low);
    // What the system logic disables.
    EXPECT_EQ(sampled_level(plan_, pin("SELF"), with(captured, 11, true)), Z);
    EXPECT_EQ(sampled_level(plan_, pin("SELF"), with(with(captured, 11, true), 12, true)), High);
    EXPECT_EQ(sampled_level(plan_, pin("OC"), captured), Low);
    EXPECT_EQ(sampled_level(plan_, pin("OC"), with(captured, 10, true)), Z);
}

TEST_F(ImageTest, ReadsACaptureOfExtest) {
    const Bits captured(plan_.bits());
    Bits held = plan_.safe();
    // An output that nobody watches has the level that it is given.
    EXPECT_EQ(extest_level(plan_, pin("OUT"), captured, held), High);
    // One that watches itself tells of a short.
    held.set(11, true);
    held.set(12, true);
    EXPECT_EQ(extest_level(plan_, pin("SELF"), captured, held), Low);
    EXPECT_EQ(extest_level(plan_, pin("PA(0)"), with(captured, 3, true), held), High);
    EXPECT_EQ(extest_level(plan_, pin("IN"), with(captured, 1, true), held), High);
    EXPECT_EQ(extest_level(plan_, pin("PB"), with(captured, 8, true), held), High);
}

TEST_F(ImageTest, BelievesABidirectionalCellOfOtherKindsWhileItIsDisabledOnly) {
    auto device = std::make_shared<bsdl::Device>(plan_.device());
    device->cells[8].type = "BC_6";
    const Plan plan = *Plan::make(device);
    const Pin& pb = *plan.find(signal("PB"));
    const Bits captured = with(Bits(plan.bits()), 8, true);
    EXPECT_EQ(extest_level(plan, pb, captured, plan.safe()), High);
    EXPECT_EQ(extest_level(plan, pb, captured, with(plan.safe(), 9, true)), Low);
}

TEST_F(ImageTest, ReadsACaptureOfIntest) {
    const Bits captured(plan_.bits());
    EXPECT_EQ(intest_level(plan_, pin("OUT"), with(captured, 2, true)), High);
    EXPECT_EQ(intest_level(plan_, pin("PA(1)"), with(captured, 7, true)), Z);
    EXPECT_EQ(intest_level(plan_, pin("PA(1)"), captured), Low);
    EXPECT_EQ(intest_level(plan_, pin("IN"), captured), std::nullopt);
}

} // namespace
} // namespace talvor::boundary
