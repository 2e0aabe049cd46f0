#include "host/waveform/layout.h"
#include "host/waveform/vcd.h"
#include "tests/host/waveform/trace.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>

namespace talvor::waveform {
namespace {

Waveform wave_of(const Trace& trace) {
    std::istringstream stream(trace.text());
    return read_vcd(stream, "t.vcd").value();
}

TEST(LayoutTest, RowsAreAsFewAsCanBeAndEquallyLong) {
    const std::vector<Row> rows = lay_out(wave_of(Trace().moves("0000000000")), {4, 0});
    ASSERT_EQ(rows.size(), 3U);
    EXPECT_EQ(rows[0].columns.size(), 4U);
    EXPECT_EQ(rows[1].columns.size(), 3U);
    EXPECT_EQ(rows[2].columns, (std::vector<Column>{{7, 0, false}, {8, 0, false}, {9, 0, false}}));
    EXPECT_TRUE(lay_out(Waveform(), {}).empty());
}

TEST(LayoutTest, OneRowMayBeStretchedToBeTheOnlyOne) {
    const Waveform ten = wave_of(Trace().moves("0000000000"));
    EXPECT_EQ(lay_out(ten, {8, 0, 2}).size(), 1U);
    EXPECT_EQ(lay_out(ten, {8, 0, 1}).size(), 2U);
    EXPECT_EQ(lay_out(ten, {4, 0, 2}).size(), 3U) << "more rows are never stretched";
}

TEST(LayoutTest, ALongStayLosesItsMiddle) {
    const Waveform wave = wave_of(Trace().moves(std::string(62, '0')));
    // One sample in reset, 61 in idle.
    EXPECT_EQ(lay_out(wave, {100, 61})[0].columns.size(), 62U);
    const std::vector<Column> columns = lay_out(wave, {100, 60})[0].columns;
    ASSERT_EQ(columns.size(), 1 + kDrawnEnds + 1 + kDrawnEnds);
    EXPECT_EQ(columns[10], (Column{10, 0, false}));
    EXPECT_EQ(columns[11], (Column{11, 41, false}));
    EXPECT_EQ(columns[12], (Column{52, 0, false}));
    EXPECT_EQ(columns.back(), (Column{61, 0, false}));
    EXPECT_EQ(lay_out(wave, {100, 4})[0].columns.size(), 1U + 2 + 1 + 2);
    EXPECT_EQ(lay_out(wave, {100, 0})[0].columns.size(), 62U);
}

TEST(LayoutTest, ARestOfTheClockIsMarked) {
    const std::vector<Column> columns =
        lay_out(wave_of(Trace().moves("000").rest(250).moves("000").rest(60).moves("0")),
                {100, 0})[0]
            .columns;
    for (size_t c = 0; c < columns.size(); ++c) {
        EXPECT_EQ(columns[c].pause_before, c == 3) << c;
    }
}

TEST(LayoutTest, ShiftsHaveTheirPlaceInEachRow) {
    const Waveform wave = wave_of(Trace().moves("0100").shift(0, 0, 8).moves("10"));
    const std::vector<Row> rows = lay_out(wave, {6, 0});
    const std::vector<ShiftRun> shifts = shift_runs(wave);
    ASSERT_EQ(rows.size(), 3U);
    // Five, five and four columns.
    EXPECT_EQ(shift_places(rows[0], shifts), (std::vector<Place>{{0, 4, 5}}));
    EXPECT_EQ(shift_places(rows[1], shifts), (std::vector<Place>{{0, 0, 5}}));
    EXPECT_EQ(shift_places(rows[2], shifts), (std::vector<Place>{{0, 0, 2}}));
}

TEST(LayoutTest, StatesChangeInTheMiddleOfColumns) {
    const Waveform wave = wave_of(Trace().moves("0010000"));
    const std::vector<Row> rows = lay_out(wave, {4, 0});
    EXPECT_EQ(state_places(rows[0], wave),
              (std::vector<StatePlace>{{TapState::TestLogicReset, 0, 1},
                                       {TapState::RunTestIdle, 1, 5},
                                       {TapState::SelectDrScan, 5, 7},
                                       {TapState::CaptureDr, 7, 8}}));
    EXPECT_EQ(state_places(rows[1], wave),
              (std::vector<StatePlace>{{TapState::CaptureDr, 0, 1}, {TapState::ShiftDr, 1, 6}}));
}

TEST(LayoutTest, DigitsAreWrapped) {
    EXPECT_EQ(wrapped("12345", 2), (std::vector<std::string>{"12", "34", "5"}));
    EXPECT_EQ(wrapped("1234", 4), std::vector<std::string>{"1234"});
    EXPECT_TRUE(wrapped("", 4).empty());
}

TEST(LayoutTest, DigitsAreShortenedInTheMiddle) {
    EXPECT_EQ(shortened("12345678", 8), "12345678");
    EXPECT_EQ(shortened("123456789", 8), "123..789");
    EXPECT_EQ(shortened("123456789", 7), "123..89");
    EXPECT_EQ(shortened("123456789", 2), "..");
    EXPECT_EQ(shortened("123456789", 4, "…"), "12…9");
}

TEST(LayoutTest, TheLegendFillsLinesUpToTheWidth) {
    ShortNames used{};
    EXPECT_TRUE(legend(used, 2, 80).empty());
    used[index_of(TapState::ShiftDr)] = true;
    used[index_of(TapState::RunTestIdle)] = true;
    const std::string idle = "RTI Run-Test/Idle";
    const std::string shift = "ShD Shift-DR";
    EXPECT_EQ(legend(used, 2, idle.size() + 2 + shift.size()),
              std::vector<std::string>{idle + "  " + shift});
    EXPECT_EQ(legend(used, 3, idle.size() + 2 + shift.size()),
              (std::vector<std::string>{idle, shift}));
    EXPECT_EQ(legend(used, 2, 1), (std::vector<std::string>{idle, shift}));
}

// Else the start of a pass might be what is left out.
TEST(LayoutTest, EveryPassOfAShiftHasItsEnds) {
    Waveform waveform;
    for (int i = 0; i < 100; ++i) {
        waveform.samples.push_back({0, i == 99, true, true, TapState::ShiftDr, true});
    }
    waveform.passes = {{48, "marker"}, {52, ""}};
    std::vector<size_t> skipped;
    std::vector<size_t> drawn;
    const std::vector<Row> rows = lay_out(waveform, {200, 20});
    ASSERT_EQ(rows.size(), 1U);
    for (const Column& column : rows.front().columns) {
        (column.skipped != 0 ? skipped : drawn).push_back(column.sample);
    }
    // Of a pass that is not the client's less is drawn.
    EXPECT_EQ(skipped, (std::vector<size_t>{kDrawnPassEnds, 48 + kDrawnEnds}));
    EXPECT_EQ(drawn.size(), 2 * kDrawnPassEnds + 2 * kDrawnEnds);
    EXPECT_TRUE(std::ranges::find(drawn, 48U) != drawn.end());
}

TEST(LimitNotesTest, SayWhatTheTraceLost) {
    Waveform wave;
    wave.samples.resize(10);
    wave.first_tck = 90;
    wave.total_tcks = 100;
    EXPECT_TRUE(limit_notes(wave, 100).empty());
    wave.missing_tcks = 90;
    wave.ends_early = true;
    EXPECT_EQ(limit_notes(wave, 100),
              (std::vector<std::string>{
                  "The trace begins with TCK 90: it had reached its limit, and lost those before.",
                  "The trace ends before TCK 100: it had reached its limit."}));
    EXPECT_EQ(
        limit_notes(wave, 24),
        (std::vector<std::string>{"The trace begins with", "TCK 90: it had reached",
                                  "its limit, and lost", "those before.", "The trace ends before",
                                  "TCK 100: it had reached", "its limit."}));
    // A part from the middle has nothing to do with either.
    wave.first_tck = 91;
    wave.samples.resize(8);
    EXPECT_TRUE(limit_notes(wave, 100).empty());
}

} // namespace
} // namespace talvor::waveform
