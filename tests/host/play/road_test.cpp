#include "host/jtag/null_port.h"
#include "host/play/road.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

namespace talvor::play {
namespace {

using enum TapState;

// What a target notices of a road: a letter for each visit, and one for each clock in Idle. Reset
// once or ten times over is one.
std::string noticed(const std::vector<TapState>& road) {
    std::string seen;
    for (const TapState state : road) {
        const char letter = "RI.cs...u.CS...U"[static_cast<size_t>(state)];
        if (letter != '.' && !(letter == 'R' && seen.ends_with('R'))) {
            seen.push_back(letter);
        }
    }
    return seen;
}

// The states that a port goes through for `legs`.
std::vector<TapState> walked(StableState from, const std::vector<Leg>& legs) {
    std::vector<TapState> road;
    for (const Leg& leg : legs) {
        std::vector<TapState> more;
        if (leg.kind == Leg::Kind::Stay) {
            EXPECT_EQ(from, leg.to);
            EXPECT_EQ(from, StableState::Idle) << "no other state counts";
            more.assign(leg.clocks, tap_state(leg.to));
        } else if (leg.kind == Leg::Kind::Reset) {
            more = from == StableState::Reset ? std::vector{TestLogicReset}
                                              : shortest_route(tap_state(from), TestLogicReset);
        } else {
            more = standard_route(from, leg.to);
        }
        road.insert(road.end(), more.begin(), more.end());
        from = leg.to;
    }
    return road;
}

TEST(RoadTest, EraseAndReadBackWithoutAStopBetween) {
    const NullPort port;
    const auto road = equal_road(port, StableState::PauseIr,
                                 std::vector{PauseIr, Exit2Ir, UpdateIr, SelectDrScan, CaptureDr,
                                             Exit1Dr, UpdateDr, RunTestIdle});
    ASSERT_TRUE(road);
    EXPECT_EQ(*road, (std::vector<Leg>{{Leg::Kind::Move, StableState::PauseDr, 0},
                                       {Leg::Kind::Move, StableState::Idle, 0}}));
}

TEST(RoadTest, ClocksInIdleAreKept) {
    const NullPort port;
    const auto road =
        equal_road(port, StableState::Idle,
                   std::vector{RunTestIdle, RunTestIdle, SelectDrScan, CaptureDr, Exit1Dr, UpdateDr,
                               RunTestIdle, RunTestIdle, RunTestIdle});
    ASSERT_TRUE(road);
    EXPECT_EQ(*road, (std::vector<Leg>{{Leg::Kind::Stay, StableState::Idle, 2},
                                       {Leg::Kind::Move, StableState::PauseDr, 0},
                                       {Leg::Kind::Move, StableState::Idle, 0},
                                       {Leg::Kind::Stay, StableState::Idle, 2}}));
}

TEST(RoadTest, StayingInPauseIsNothing) {
    const NullPort port;
    const auto road = equal_road(port, StableState::PauseDr, std::vector{PauseDr, PauseDr});
    ASSERT_TRUE(road);
    EXPECT_TRUE(road->empty());
}

TEST(RoadTest, AShiftIsNoPartOfARoad) {
    const NullPort port;
    EXPECT_FALSE(equal_road(port, StableState::Idle,
                            std::vector{SelectDrScan, CaptureDr, ShiftDr, Exit1Dr, PauseDr}));
    EXPECT_FALSE(
        equal_road(port, StableState::PauseDr, std::vector{Exit2Dr, ShiftDr, Exit1Dr, PauseDr}));
}

TEST(RoadTest, APauseThatIsLeftAndReachedWithoutUpdateIsNoRoad) {
    // From Pause-IR the port's way to Pause-IR updates and captures.
    const NullPort port;
    EXPECT_FALSE(
        equal_road(port, StableState::Idle,
                   std::vector{SelectDrScan, SelectIrScan, CaptureIr, Exit1Ir, PauseIr, Exit2Ir,
                               UpdateIr, SelectDrScan, SelectIrScan, TestLogicReset, RunTestIdle,
                               SelectDrScan, CaptureDr, ShiftDr, Exit1Dr, PauseDr}));
}

// A random legal path; it ends in a stable state.
std::vector<TapState> random_path(std::mt19937& random, StableState from, bool shifts) {
    std::vector<TapState> path;
    TapState state = tap_state(from);
    while (path.empty() || !stable_state(state) || random() % 5 != 0) {
        TapState next = next_state(state, random() % 2 == 0);
        if (!shifts && is_shift(next)) {
            next = next_state(state, true);
            if (is_shift(next)) {
                continue;
            }
        }
        state = next;
        path.push_back(state);
    }
    return path;
}

TEST(RoadTest, EveryRoadIsTheSameToTheTarget) {
    const NullPort port;
    std::mt19937 random(3);
    int found = 0;
    for (int round = 0; round < 3000; ++round) {
        const auto from = static_cast<StableState>(random() % 4);
        const bool shifts = random() % 4 == 0;
        const std::vector<TapState> path = random_path(random, from, shifts);
        const auto road = equal_road(port, from, path);
        const bool has_shift = noticed(path).find_first_of("sS") != std::string::npos;
        if (has_shift) {
            EXPECT_FALSE(road);
            continue;
        }
        if (!road) {
            continue;
        }
        ++found;
        const std::vector<TapState> way = walked(from, *road);
        EXPECT_EQ(noticed(way), noticed(path));
        EXPECT_EQ(way.empty() ? tap_state(from) : way.back(), path.back());
    }
    EXPECT_GT(found, 1500) << "most paths have one";
}

} // namespace
} // namespace talvor::play
