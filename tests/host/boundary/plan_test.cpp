#include "host/boundary/plan.h"
#include "tests/host/boundary/parts.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace talvor::boundary {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class PlanTest : public testing::Test {
protected:
    static std::shared_ptr<bsdl::Device> editable() {
        return std::make_shared<bsdl::Device>(*make_part());
    }
    [[nodiscard]] const Pin& pin(const std::string& name) const {
        return *plan_.find(signal_of(plan_.device(), name));
    }
    [[nodiscard]] std::vector<std::string> names(const std::vector<size_t>& signals) const {
        std::vector<std::string> list;
        for (const size_t signal : signals) {
            list.push_back(plan_.name_of(signal));
        }
        return list;
    }

    Plan plan_ = *Plan::make(make_part());
};

TEST_F(PlanTest, HasAPinForEverySignalWithACell) {
    EXPECT_EQ(plan_.pins().size(), 10u);
    EXPECT_EQ(plan_.bits(), 15u);
    EXPECT_EQ(plan_.find(signal_of(plan_.device(), "VCC")), nullptr);
    EXPECT_EQ(plan_.find(1000), nullptr);
}

TEST_F(PlanTest, SeparatesWhatWatchesAPinFromWhatDrivesIt) {
    EXPECT_EQ(pin("CLK").observe, 0u);
    EXPECT_EQ(pin("IN").observe, 1u);
    EXPECT_EQ(pin("IN").drive, std::nullopt);
    EXPECT_EQ(pin("OUT").observe, std::nullopt);
    EXPECT_EQ(pin("OUT").drive, 2u);
    EXPECT_EQ(pin("PA(0)").observe, 3u);
    EXPECT_EQ(pin("PA(0)").drive, 4u);
    EXPECT_EQ(pin("PB").observe, pin("PB").drive);
}

TEST_F(PlanTest, PrefersACellThatOnlyWatches) {
    auto device = editable();
    bsdl::Cell watcher = device->cells[3];
    watcher.number = 14;
    watcher.signal = signal_of(*device, "PB");
    device->cells.back() = watcher; // behind the bidirectional one
    const Plan plan = *Plan::make(device);
    const Pin& pin = *plan.find(*watcher.signal);
    EXPECT_EQ(pin.observe, device->cells.size() - 1);
    EXPECT_EQ(device->cells[*pin.drive].number, 8u);
}

TEST_F(PlanTest, KnowsWhatEnablesAnOutput) {
    EXPECT_EQ(pin("OUT").enable, std::nullopt);
    EXPECT_EQ(pin("PA(0)").enable, 7u);
    EXPECT_FALSE(pin("PA(0)").enable_level);
    EXPECT_EQ(pin("PB").enable, 9u);
    EXPECT_TRUE(pin("PB").enable_level);
    EXPECT_EQ(pin("OC").enable, 10u); // its own
    EXPECT_EQ(pin("OC").disabled, bsdl::DisableResult::Weak1);
}

TEST_F(PlanTest, NamesThePinsThatShareACell) {
    EXPECT_THAT(names(pin("PA(0)").enabled_with), ElementsAre("PA(1)"));
    EXPECT_THAT(names(pin("PA(1)").enabled_with), ElementsAre("PA(0)"));
    EXPECT_THAT(pin("PB").enabled_with, IsEmpty());
    auto device = editable();
    device->cells[6].number = 4; // of PA(1)
    const Plan plan = *Plan::make(device);
    EXPECT_THAT(names(plan.find(signal_of(*device, "PA(0)"))->driven_with), ElementsAre("PA(1)"));
}

TEST_F(PlanTest, KnowsCellsThatWatchTheirOwnPin) {
    EXPECT_TRUE(pin("SELF").observes_itself);
    EXPECT_TRUE(pin("PB").observes_itself);
    EXPECT_FALSE(pin("OUT").observes_itself);
}

TEST_F(PlanTest, MakesTheImageOfSafeValues) {
    // What the file says: 2, 6, 10, 14 hold 1; X: 0, but 7 disables.
    EXPECT_EQ(plan_.safe(), Bits::from_uint(0x44C4, 15));
    EXPECT_THAT(names(plan_.always_driving()), ElementsAre("OUT", "OUT2"));
}

TEST_F(PlanTest, TakesTheFilesWordForAControlCell) {
    auto device = editable();
    device->cells[7].safe = '0'; // which enables PA
    const Plan plan = *Plan::make(device);
    EXPECT_FALSE(plan.safe()[7]);
    EXPECT_THAT(names(plan.always_driving()), ElementsAre("OUT", "PA(0)", "PA(1)", "OUT2"));
}

TEST_F(PlanTest, LetsTheControlSayWhatAMergedCellHolds) {
    auto device = editable();
    bsdl::Cell input = device->cells[1];
    input.number = 9;
    input.safe = '1';
    device->cells.push_back(input); // disables PB with 0
    EXPECT_FALSE(Plan::make(device)->safe()[9]);
}

TEST_F(PlanTest, RefusesADescriptionWithoutBoundaryRegister) {
    auto device = editable();
    device->boundary_bits = 0;
    const auto plan = Plan::make(device);
    ASSERT_FALSE(plan);
    EXPECT_EQ(plan.error().kind, ErrorKind::BadFile);
    EXPECT_THAT(headline(plan.error()), HasSubstr("PART15"));
}

TEST_F(PlanTest, RefusesCellsThatTheRegisterDoesNotHave) {
    auto device = editable();
    device->boundary_bits = 14;
    EXPECT_THAT(headline(Plan::make(device).error()), HasSubstr("cell 14"));
    device = editable();
    device->cells[4].control = 15;
    EXPECT_THAT(headline(Plan::make(device).error()), HasSubstr("cell 15"));
    device = editable();
    device->cells[4].signal = device->signals.size();
    EXPECT_FALSE(Plan::make(device));
}

} // namespace
} // namespace talvor::boundary
