#include "host/waveform/sampler.h"

#include <gtest/gtest.h>

#include <utility>

namespace talvor::waveform {
namespace {

constexpr ShiftSpan kNoSpan{0, UINT64_MAX};

// A test clock: it falls with these levels on the lines, and rises at `time_ps`.
void clock(Sampler& sampler, uint64_t time_ps, unsigned tms, unsigned tdi = 1) {
    sampler.begin_moment(time_ps - 1);
    sampler.change(Signal::Tck, 0);
    sampler.change(Signal::Tms, tms);
    sampler.change(Signal::Tdi, tdi);
    sampler.begin_moment(time_ps);
    sampler.change(Signal::Tck, 1);
}

// From Test-Logic-Reset to Shift-DR, and three clocks there.
void shift_three(Sampler& sampler) {
    sampler.change(Signal::Tck, 0);
    uint64_t time_ps = 0;
    for (const unsigned tms : {0U, 1U, 0U, 0U, 0U, 0U, 1U, 1U, 0U}) {
        clock(sampler, time_ps += 10, tms);
    }
    sampler.end_moment();
}

TEST(SamplerTest, TakesWhatStandsOnTheLinesBeforeTheClockRises) {
    Sampler sampler({}, kNoSpan);
    sampler.change(Signal::Tck, 0);
    clock(sampler, 10, 0, 1);
    sampler.change(Signal::Tdi, 0); // at the same moment
    clock(sampler, 20, 1, 0);
    sampler.end_moment();
    const Waveform waveform = std::move(sampler).waveform();
    ASSERT_EQ(waveform.samples.size(), 2U);
    EXPECT_EQ(waveform.samples[0], (Sample{10, false, true, true, TapState::TestLogicReset}));
    EXPECT_EQ(waveform.samples[1], (Sample{20, true, false, true, TapState::RunTestIdle}));
    EXPECT_EQ(waveform.total_tcks, 2U);
}

TEST(SamplerTest, AClockThatIsHighFromTheBeginningIsNoEdge) {
    Sampler sampler({}, kNoSpan);
    sampler.change(Signal::Tck, 1);
    sampler.end_moment();
    EXPECT_EQ(std::move(sampler).waveform().total_tcks, 0U);
}

TEST(SamplerTest, TheStatesOfTheTraceGoBeforeThoseOfTms) {
    Sampler sampler({}, kNoSpan);
    sampler.take_states();
    sampler.change(Signal::TapState, static_cast<unsigned>(TapState::PauseDr));
    clock(sampler, 10, 0);
    sampler.end_moment();
    EXPECT_EQ(std::move(sampler).waveform().samples.at(0).state, TapState::PauseDr);
}

TEST(SamplerTest, KeepsItsWindowOnly) {
    Sampler sampler({5, 2}, kNoSpan);
    shift_three(sampler);
    const Waveform waveform = std::move(sampler).waveform();
    EXPECT_EQ(waveform.samples.size(), 2U);
    EXPECT_EQ(waveform.first_tck, 5U);
    EXPECT_EQ(waveform.first_shift_tck, 1U);
    EXPECT_EQ(waveform.total_tcks, 9U);
}

TEST(SamplerTest, FindsTheClocksOfAShift) {
    Sampler sampler({0, 0}, {1, 2});
    shift_three(sampler);
    const std::optional<Window> found = sampler.found();
    ASSERT_TRUE(found);
    EXPECT_EQ(found->first_tck, 5U) << "behind the first clock in Shift-DR";
    EXPECT_EQ(found->count, 1U) << "before the third";
}

TEST(SamplerTest, KnowsWhatWasLost) {
    Sampler sampler({0, 0}, {10, 13});
    EXPECT_TRUE(sampler.begin_late(100, 11));
    EXPECT_FALSE(sampler.begin_late(100, 11)) << "a second time";
    shift_three(sampler);
    EXPECT_FALSE(sampler.begin_late(1, 1)) << "in the middle";
    EXPECT_FALSE(sampler.found());
    const Waveform waveform = std::move(sampler).waveform();
    EXPECT_EQ(waveform.missing_tcks, 100U);
    EXPECT_EQ(waveform.total_tcks, 109U);
}

TEST(SamplerTest, AnEarlyEndLosesTheClocksBehindIt) {
    Sampler sampler({0, 0}, {1, 9});
    shift_three(sampler);
    EXPECT_TRUE(sampler.found());
    sampler.end_early();
    EXPECT_FALSE(sampler.found());
    EXPECT_TRUE(std::move(sampler).waveform().ends_early);
}

} // namespace
} // namespace talvor::waveform
