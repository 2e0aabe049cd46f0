#include "tests/host/boundary/two_parts.h"
#include "tool/commands/pin_list.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace talvor {
namespace {

using boundary::Level;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::SizeIs;

class PinListTest : public testing::Test {
protected:
    const std::vector<boundary::Member> members_ = two_parts();
    Output out_;

    // MODE, Q(0), Q(1) and the control cell of u1; u3 gets zeros.
    [[nodiscard]] static boundary::Images samples(uint64_t cells) {
        return {Bits::from_uint(cells, 4), Bits(1), Bits(4)};
    }
};

TEST_F(PinListTest, HasARowForEveryPinWithACell) {
    EXPECT_THAT(pin_rows(members_, ""), SizeIs(6));
    EXPECT_THAT(pin_rows(members_, "u3."), SizeIs(3));
    EXPECT_THAT(pin_rows(members_, "Q"), SizeIs(4));
    EXPECT_THAT(pin_rows(members_, "7"), SizeIs(2)); // a package pin
    EXPECT_THAT(pin_rows(members_, "VDD"), SizeIs(0));
}

TEST_F(PinListTest, EntersLevelsAndWhatHasChanged) {
    std::vector<PinRow> rows = pin_rows(members_, "u1.");
    enter_levels(members_, samples(0b0101), rows);
    EXPECT_EQ(rows[0].level, Level::High);
    EXPECT_EQ(rows[1].level, Level::Low);
    EXPECT_EQ(rows[2].level, Level::High);
    enter_levels(members_, samples(0b0111), rows);
    EXPECT_FALSE(rows[0].changed);
    EXPECT_TRUE(rows[1].changed);
    EXPECT_FALSE(rows[2].changed);
}

TEST_F(PinListTest, MarksWhatHasChangedInABlock) {
    std::vector<PinRow> rows = pin_rows(members_, "u1.");
    enter_levels(members_, samples(0b0101), rows);
    for (PinRow& row : rows) {
        row.changed = false;
    }
    enter_levels(members_, samples(0b0100), rows);
    EXPECT_THAT(pin_block(out_, members_, rows, 80, 24),
                ElementsAre("u1: SMALL, QFP8, 4 cells", "  MODE 0*   Q(0) 0    Q(1) 1"));
    // Column by column where there are several lines.
    EXPECT_THAT(pin_block(out_, members_, rows, 25, 24),
                ElementsAre("u1: SMALL, QFP8, 4 cells", "  MODE 0*   Q(1) 1", "  Q(0) 0"));
    EXPECT_THAT(pin_block(out_, members_, rows, 1, 24), SizeIs(4));
}

TEST_F(PinListTest, SaysHowMuchABlockLeavesOut) {
    const std::vector<PinRow> rows = pin_rows(members_, "");
    EXPECT_THAT(pin_block(out_, members_, rows, 1, 8), SizeIs(8));
    EXPECT_THAT(pin_block(out_, members_, rows, 1, 4),
                ElementsAre("u1: SMALL, QFP8, 4 cells", "  MODE -", "  Q(0) -",
                            "  5 lines more: choose pins with --filter or --device"));
}

TEST_F(PinListTest, TellsCellsAndLevelsAsADocument) {
    std::vector<PinRow> rows = pin_rows(members_, "u3.Q(1)");
    enter_levels(members_, samples(0), rows);
    const Json json = pins_json(members_, rows);
    for (const auto& [path, text] : {std::pair<const char*, const char*>{"device", "u3"},
                                     {"number", "3"},
                                     {"part", "SMALL"},
                                     {"package", "QFP8"},
                                     {"cells", "4"},
                                     {"pins.0.name", "u3.Q(1)"},
                                     {"pins.0.level", "0"},
                                     {"pins.0.port", "Q(1)"},
                                     {"pins.0.package_pin", "7"},
                                     {"pins.0.direction", "inout"},
                                     {"pins.0.observing_cell", "2"},
                                     {"pins.0.driving_cell", "2"},
                                     {"pins.0.control_cell", "3"}}) {
        const Json* found = json.find(std::string("devices.0.") + path);
        ASSERT_NE(found, nullptr) << path;
        EXPECT_EQ(found->scalar_text(), text) << path;
    }
}

TEST_F(PinListTest, PutsEveryPinOfThePackageIntoItsPicture) {
    std::vector<PinRow> rows = pin_rows(members_, "");
    enter_levels(members_, samples(0b0001), rows);
    const boundary::Package package = package_of(members_, 0, rows);
    EXPECT_EQ(package.title, "u1: SMALL QFP8");
    ASSERT_THAT(package.pins, SizeIs(8));
    EXPECT_EQ(package.pins[0].kind, boundary::PinKind::Test);
    EXPECT_EQ(package.pins[4].kind, boundary::PinKind::Cell);
    EXPECT_EQ(package.pins[4].level, Level::High);
    EXPECT_EQ(package.pins[4].pin, "5");
    EXPECT_EQ(package.pins[7].kind, boundary::PinKind::Linkage);
}

} // namespace
} // namespace talvor
