#include "host/waveform/vcd.h"
#include "host/waveform/waveform.h"
#include "tests/host/waveform/trace.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>

namespace talvor::waveform {
namespace {

Waveform wave_of(const Trace& trace, const Window& window = {}) {
    std::istringstream stream(trace.text());
    return read_vcd(stream, "t.vcd", window).value();
}

TEST(WaveformTest, RunsOfStates) {
    EXPECT_TRUE(state_runs(Waveform()).empty());
    EXPECT_EQ(state_runs(wave_of(Trace().moves("100010"))),
              (std::vector<StateRun>{{TapState::TestLogicReset, 0, 2},
                                     {TapState::RunTestIdle, 2, 3},
                                     {TapState::SelectDrScan, 5, 1}}));
}

TEST(WaveformTest, ShiftsHoldTheirBits) {
    const std::vector<ShiftRun> shifts = shift_runs(wave_of(Trace()
                                                                .moves("01100")
                                                                .shift(0x2A, 0x01, 8)
                                                                .moves("10100")
                                                                .shift(0x5, 0x2, 3)
                                                                .moves("010")
                                                                .shift(1, 0, 1)
                                                                .moves("10")));
    ASSERT_EQ(shifts.size(), 3U);
    EXPECT_EQ(shifts[0].path, ScanPath::Ir);
    EXPECT_EQ(shifts[0].state(), TapState::ShiftIr);
    EXPECT_FALSE(shifts[0].cut());
    EXPECT_EQ(shifts[0].first, 5U);
    EXPECT_EQ(shifts[0].tdi, Bits::from_uint(0x2A, 8));
    EXPECT_EQ(shifts[0].tdo, Bits::from_uint(0x01, 8));
    EXPECT_EQ(shifts[1].path, ScanPath::Dr);
    EXPECT_EQ(shifts[1].tdi, Bits::from_uint(5, 3));
    EXPECT_EQ(shifts[1].tdo, Bits::from_uint(2, 3));
    EXPECT_EQ(shifts[2].tdi, Bits::from_uint(1, 1));
    for (const ShiftRun& shift : shifts) {
        EXPECT_FALSE(shift.cut_at_start || shift.cut_at_end);
    }
}

// Two scans of eight bits, of which the first five and the last four are not the client's.
TEST(WaveformTest, PassesDivideShifts) {
    Waveform waveform;
    for (int scan = 0; scan < 2; ++scan) {
        for (int i = 0; i < 8; ++i) {
            waveform.samples.push_back({0, i == 7, true, true, TapState::ShiftDr, true});
        }
        waveform.samples.push_back({0, false, true, true, TapState::PauseDr, true});
    }
    waveform.passes = {{5, "marker"}, {7, ""}, {4, "repair"}};
    using Runs = std::vector<std::pair<std::string_view, size_t>>;
    const auto runs = [&waveform] {
        Runs found;
        for (const ShiftRun& run : shift_runs(waveform)) {
            EXPECT_FALSE(run.cut());
            found.emplace_back(run.pass, run.tdi.size());
        }
        return found;
    };
    EXPECT_EQ(runs(), (Runs{{"marker", 5}, {"", 3}, {"", 4}, {"repair", 4}}));
    waveform.first_shift_tck = 6;
    EXPECT_EQ(runs(), (Runs{{"", 6}, {"repair", 2}, {"repair", 2}, {"", 6}}));
    waveform.passes.clear();
    EXPECT_EQ(runs(), (Runs{{"", 8}, {"", 8}}));
}

TEST(WaveformTest, AWindowCutsAShift) {
    Trace trace;
    trace.moves("0100").shift(0xF0, 0x0F, 8).moves("10");
    const std::vector<ShiftRun> end = shift_runs(wave_of(trace, {6, 100}));
    ASSERT_EQ(end.size(), 1U);
    EXPECT_EQ(end[0].tdi, Bits::from_uint(0x3C, 6));
    EXPECT_TRUE(end[0].cut_at_start);
    EXPECT_FALSE(end[0].cut_at_end);
    const std::vector<ShiftRun> start = shift_runs(wave_of(trace, {0, 7}));
    EXPECT_FALSE(start[0].cut_at_start);
    EXPECT_TRUE(start[0].cut_at_end);
}

TEST(WaveformTest, TheFinalStateIsThatBehindTheLastEdge) {
    EXPECT_EQ(final_state(Waveform()), TapState::TestLogicReset);
    EXPECT_EQ(final_state(wave_of(Trace().moves("010"))), TapState::CaptureDr);
}

TEST(WaveformTest, TimesHaveTheUnitThatFits) {
    EXPECT_EQ(time_text(0), "0 ps");
    EXPECT_EQ(time_text(999), "999 ps");
    EXPECT_EQ(time_text(50000), "50.000 ns");
    EXPECT_EQ(time_text(12345000), "12.345 us");
    EXPECT_EQ(time_text(1500000000), "1.500 ms");
    EXPECT_EQ(time_text(2000000000000), "2.000 s");
}

TEST(WaveformTest, ShortNamesAreThreeLettersAndDistinct) {
    std::vector<std::string_view> names;
    for (size_t i = 0; i < kTapStates; ++i) {
        names.push_back(short_name(static_cast<TapState>(i)));
        EXPECT_EQ(names.back().size(), 3U);
        EXPECT_EQ(std::count(names.begin(), names.end(), names.back()), 1);
    }
    EXPECT_EQ(short_name(TapState::UpdateIr), "UpI");
}

TEST(WaveformTest, TellsWhichPinsChange) {
    const Waveform wave = wave_of(Trace().moves("0").pin('%', false).moves("0"));
    EXPECT_TRUE(wave.changes(Pin::TrstN));
    EXPECT_FALSE(wave.changes(Pin::Emu0));
}

} // namespace
} // namespace talvor::waveform
