#include "host/boundary/package.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace talvor::boundary {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

std::vector<PackagePin> named(const std::vector<std::string>& pins) {
    std::vector<PackagePin> list;
    for (const std::string& pin : pins) {
        list.push_back({pin, "S" + pin, PinKind::Cell, std::nullopt});
    }
    return list;
}

std::vector<PackagePin> numbered(size_t count) {
    std::vector<std::string> pins;
    for (size_t i = 1; i <= count; ++i) {
        pins.push_back(std::to_string(i));
    }
    return named(pins);
}

TEST(RingTest, CountsAgainstTheClockFromTheUpperLeft) {
    const Ring ring = ring_of(numbered(8));
    EXPECT_EQ(ring.per_side, 2u);
    EXPECT_THAT(ring.places, ElementsAre(RingPlace{Side::Left, 0}, RingPlace{Side::Left, 1},
                                         RingPlace{Side::Bottom, 0}, RingPlace{Side::Bottom, 1},
                                         RingPlace{Side::Right, 1}, RingPlace{Side::Right, 0},
                                         RingPlace{Side::Top, 1}, RingPlace{Side::Top, 0}));
}

TEST(RingTest, LeavesRoomForPinsThatTheFileDoesNotName) {
    const Ring ring = ring_of(named({"4", "12", "7"}));
    EXPECT_EQ(ring.per_side, 1u); // 12 is too far for three pins: they stand in their order
    const Ring sparse = ring_of(named({"2", "8", "4", "5"}));
    EXPECT_EQ(sparse.per_side, 2u);
    EXPECT_THAT(sparse.places, ElementsAre(RingPlace{Side::Left, 1}, RingPlace{Side::Top, 0},
                                           RingPlace{Side::Bottom, 1}, RingPlace{Side::Right, 1}));
}

TEST(RingTest, HasAPadInTheMiddle) {
    std::vector<PackagePin> pins = numbered(9);
    pins.back().kind = PinKind::Linkage;
    EXPECT_EQ(ring_of(pins).per_side, 2u);
    EXPECT_EQ(ring_of(pins).places.back(), (RingPlace{Side::Middle, 0}));
    pins.back().kind = PinKind::Cell;
    EXPECT_EQ(ring_of(pins).per_side, 3u);
}

TEST(RingTest, TakesOtherNamesInTheirOrder) {
    EXPECT_EQ(ring_of(named({"P$1", "x", "", "7"})).places.back(), (RingPlace{Side::Top, 0}));
    EXPECT_EQ(ring_of({}).per_side, 0u);
}

TEST(GridTest, HasRowsOfLettersAndColumnsOfNumbers) {
    const auto grid = grid_of(named({"A2", "B3", "AA4", "a3"}));
    ASSERT_TRUE(grid);
    EXPECT_THAT(grid->rows, ElementsAre("A", "B", "AA"));
    EXPECT_EQ(grid->first_column, 2u);
    EXPECT_EQ(grid->columns, 3u);
    EXPECT_THAT(grid->places,
                ElementsAre(GridPlace{0, 0}, GridPlace{1, 1}, GridPlace{2, 2}, GridPlace{0, 1}));
}

TEST(GridTest, IsNoneWherePinsAreNoBalls) {
    EXPECT_FALSE(grid_of(named({"A2", "3"})));
    EXPECT_FALSE(grid_of(named({"A"})));
    EXPECT_FALSE(grid_of(named({"ABC1"})));
    EXPECT_FALSE(grid_of(named({"A0"})));
    EXPECT_FALSE(grid_of(named({"A4000000"})));
    EXPECT_FALSE(grid_of(named({"A1x"})));
    EXPECT_FALSE(grid_of({}));
}

TEST(PackageSvgTest, ShowsLevelsInWordsAndColours) {
    Package package{"u1", "PART", numbered(8)};
    package.pins[0].level = Level::High;
    package.pins[1].level = Level::Low;
    package.pins[2].level = Level::Z;
    package.pins[3].kind = PinKind::Test;
    package.pins[4].kind = PinKind::Linkage;
    const std::string svg = to_svg(package);
    for (const char* words :
         {"S1, pin 1: 1", "S2, pin 2: 0", "S3, pin 3: Z", "S4, pin 4: test access port",
          "S5, pin 5: no cell", "S6, pin 6: level not known", ">PART<", ">u1<"}) {
        EXPECT_THAT(svg, HasSubstr(words));
    }
    EXPECT_THAT(svg, testing::EndsWith("</svg>\n"));
}

TEST(PackageSvgTest, DrawsBalls) {
    Package package{"u1", "PART", named({"A1", "B2"})};
    package.pins[0].level = Level::High;
    package.pins[1].name = "A_VERY_LONG_NAME";
    const std::string svg = to_svg(package);
    EXPECT_THAT(svg, HasSubstr("SA1, pin A1: 1"));
    EXPECT_THAT(svg, HasSubstr(">A_VERY..<"));
    EXPECT_THAT(svg, HasSubstr("A_VERY_LONG_NAME, pin B2"));
    EXPECT_THAT(svg, Not(HasSubstr(">PART<"))); // a ring has it in its middle
}

TEST(PackageSvgTest, EscapesWhatAFileSays) {
    Package package{"<u1>", "P&Q", named({"1\"", "2"})};
    package.pins[0].name = "a<script>";
    const std::string svg = to_svg(package);
    EXPECT_THAT(svg, HasSubstr("a&lt;script&gt;"));
    EXPECT_THAT(svg, HasSubstr("&lt;u1&gt;"));
    EXPECT_THAT(svg, HasSubstr("P&amp;Q"));
    EXPECT_THAT(svg, Not(HasSubstr("<script>")));
    EXPECT_THAT(svg, Not(HasSubstr("1\", pin")));
}

TEST(PackageSvgTest, DrawsAPackageWithoutPins) {
    EXPECT_THAT(to_svg({"nothing", "", {}}), HasSubstr("nothing"));
}

} // namespace
} // namespace talvor::boundary
