// Where the samples of a waveform go when it is drawn.
#pragma once

#include "host/waveform/waveform.h"

#include <array>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace talvor::waveform {

// One place on the time axis: a sample, or a mark for some that are left out.
struct Column {
    size_t sample = 0;         // the sample, or the first that is left out
    size_t skipped = 0;        // how many are left out; 0 for a sample
    bool pause_before = false; // TCK rested before this sample, by more than twice its period

    friend bool operator==(const Column&, const Column&) = default;
};

// A line of the drawing.
struct Row {
    std::vector<Column> columns;
};

inline constexpr size_t kDrawnEnds = 10;
inline constexpr size_t kDrawnPassEnds = 3;

struct LayoutOptions {
    size_t columns_per_row = 40; // at least 4
    // A longer stay in one state, or a longer pass of a shift, is drawn by kDrawnEnds samples at
    // either end, a pass that is not the client's by kDrawnPassEnds; 0 draws all.
    size_t longest_run = 40;
    // So many more may stand in the row when that makes it the only one.
    size_t stretch = 0;
};

// In as few rows as it takes, which are equally long.
[[nodiscard]] std::vector<Row> lay_out(const Waveform& waveform, const LayoutOptions& options);

// The columns [begin, end) of a row that belong together.
struct Place {
    size_t index = 0; // of the shift run
    size_t begin = 0;
    size_t end = 0;

    friend bool operator==(const Place&, const Place&) = default;
};
// Where the shifts of `shifts` stand in a row, from left to right.
[[nodiscard]] std::vector<Place> shift_places(const Row& row, const std::vector<ShiftRun>& shifts);

// A state between two rising edges. TCK rises in the middle of a column, so positions are counted
// in half columns from the left edge of the row.
struct StatePlace {
    TapState state = TapState::TestLogicReset;
    size_t begin_half = 0;
    size_t end_half = 0;

    friend bool operator==(const StatePlace&, const StatePlace&) = default;
};
[[nodiscard]] std::vector<StatePlace> state_places(const Row& row, const Waveform& waveform);

// Which states are drawn by their short names, in the order of TapState.
using ShortNames = std::array<bool, kTapStates>;
// What those names mean ("TLR Test-Logic-Reset"), `gap` blanks apart, in lines of at most `width`
// characters.
[[nodiscard]] std::vector<std::string> legend(const ShortNames& used, size_t gap, size_t width);

// Where the waveform begins or ends because the trace had reached its limit, in lines of at most
// `width` characters; none when it does not.
[[nodiscard]] std::vector<std::string> limit_notes(const Waveform& waveform, size_t width);

// `digits` in lines of at most `width`, which is at least 1.
[[nodiscard]] std::vector<std::string> wrapped(std::string_view digits, size_t width);
// `digits`, or their start and end around `gap` when they take more than `width` characters.
[[nodiscard]] std::string shortened(const std::string& digits, size_t width,
                                    std::string_view gap = "..");

} // namespace talvor::waveform
