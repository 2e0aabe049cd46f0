#include "host/waveform/layout.h"

#include <fmt/format.h>

#include <algorithm>
#include <string_view>
#include <utility>

namespace talvor::waveform {

namespace {

// Adds a sentence in lines of at most `width` characters, broken between words.
void add_wrapped(std::vector<std::string>& lines, size_t width, std::string_view sentence) {
    std::string line;
    for (size_t at = 0; at < sentence.size();) {
        const size_t end = std::min(sentence.find(' ', at), sentence.size());
        const std::string_view word = sentence.substr(at, end - at);
        if (!line.empty() && line.size() + 1 + word.size() > width) {
            lines.push_back(std::exchange(line, {}));
        }
        line.append(line.empty() ? "" : " ").append(word);
        at = end + 1;
    }
    lines.push_back(line);
}

bool pause_before(const Waveform& waveform, size_t sample) {
    if (sample < 2) {
        return false;
    }
    const auto time = [&](size_t i) { return waveform.samples[i].time_ps; };
    const uint64_t gap = time(sample) - time(sample - 1);
    uint64_t period = time(sample - 1) - time(sample - 2);
    if (sample + 1 < waveform.samples.size()) {
        period = std::min(period, time(sample + 1) - time(sample));
    }
    return gap > 2 * period;
}

// A stay in one state, or one pass of a shift.
struct Stretch {
    size_t first = 0;
    size_t count = 0;
    size_t ends = kDrawnEnds; // that are drawn when it is too long
};

std::vector<Stretch> stretches(const Waveform& waveform) {
    std::vector<Stretch> all;
    for (const ShiftRun& shift : shift_runs(waveform)) {
        all.push_back(
            {shift.first, shift.tdi.size(), shift.pass.empty() ? kDrawnEnds : kDrawnPassEnds});
    }
    for (const StateRun& run : state_runs(waveform)) {
        if (!is_shift(run.state)) {
            all.push_back({run.first, run.count});
        }
    }
    std::ranges::sort(all, {}, &Stretch::first);
    return all;
}

std::vector<Column> all_columns(const Waveform& waveform, size_t longest_run) {
    std::vector<Column> columns;
    for (const Stretch& run : stretches(waveform)) {
        const size_t ends = std::min(run.ends, longest_run / 2);
        const size_t longest = run.ends == kDrawnEnds ? longest_run : 2 * run.ends + 2;
        const bool whole = longest_run == 0 || run.count <= longest;
        const size_t head = whole ? run.count : ends;
        const size_t tail = whole ? 0 : ends;
        for (size_t i = 0; i < run.count; ++i) {
            if (i == head) {
                columns.push_back({run.first + i, run.count - head - tail, false});
                i = run.count - tail;
            }
            if (i < run.count) {
                columns.push_back({run.first + i, 0, pause_before(waveform, run.first + i)});
            }
        }
    }
    return columns;
}

} // namespace

std::vector<Row> lay_out(const Waveform& waveform, const LayoutOptions& options) {
    const std::vector<Column> columns = all_columns(waveform, options.longest_run);
    const size_t width = std::max<size_t>(options.columns_per_row, 4);
    size_t rows_left = (columns.size() + width - 1) / width;
    if (columns.size() > width && columns.size() <= width + options.stretch) {
        rows_left = 1;
    }
    std::vector<Row> rows;
    for (size_t at = 0; rows_left > 0; --rows_left) {
        const size_t count = (columns.size() - at + rows_left - 1) / rows_left;
        const auto first = columns.begin() + static_cast<ptrdiff_t>(at);
        rows.push_back({{first, first + static_cast<ptrdiff_t>(count)}});
        at += count;
    }
    return rows;
}

std::vector<Place> shift_places(const Row& row, const std::vector<ShiftRun>& shifts) {
    std::vector<Place> places;
    for (size_t i = 0; i < shifts.size(); ++i) {
        const size_t first = shifts[i].first;
        const size_t end = first + shifts[i].tdi.size();
        Place place{i, row.columns.size(), 0};
        for (size_t c = 0; c < row.columns.size(); ++c) {
            if (row.columns[c].sample >= first && row.columns[c].sample < end) {
                place.begin = std::min(place.begin, c);
                place.end = c + 1;
            }
        }
        if (place.end != 0) {
            places.push_back(place);
        }
    }
    return places;
}

std::vector<StatePlace> state_places(const Row& row, const Waveform& waveform) {
    std::vector<StatePlace> places;
    const auto put = [&places](TapState state, size_t begin_half, size_t end_half) {
        if (!places.empty() && places.back().state == state) {
            places.back().end_half = end_half;
        } else {
            places.push_back({state, begin_half, end_half});
        }
    };
    for (size_t c = 0; c < row.columns.size(); ++c) {
        const TapState state = waveform.samples[row.columns[c].sample].state;
        put(state, c == 0 ? 0 : 2 * c - 1, 2 * c + 1);
    }
    if (!row.columns.empty()) {
        const size_t last = row.columns.back().sample;
        const size_t edge = 2 * row.columns.size() - 1;
        const bool at_end = last + 1 >= waveform.samples.size();
        const TapState state = row.columns.back().skipped != 0 ? waveform.samples[last].state
                               : at_end                        ? final_state(waveform)
                                                               : waveform.samples[last + 1].state;
        put(state, edge, edge + 1);
    }
    return places;
}

std::vector<std::string> legend(const ShortNames& used, size_t gap, size_t width) {
    std::vector<std::string> lines;
    for (size_t i = 0; i < kTapStates; ++i) {
        if (!used[i]) {
            continue;
        }
        const auto state = static_cast<TapState>(i);
        const std::string entry = fmt::format("{} {}", short_name(state), name_of(state));
        if (lines.empty() || lines.back().size() + gap + entry.size() > width) {
            lines.push_back(entry);
        } else {
            lines.back() += std::string(gap, ' ') + entry;
        }
    }
    return lines;
}

std::vector<std::string> limit_notes(const Waveform& waveform, size_t width) {
    std::vector<std::string> lines;
    if (waveform.missing_tcks > 0 && waveform.first_tck == waveform.missing_tcks) {
        add_wrapped(lines, width,
                    fmt::format("The trace begins with TCK {}: it had reached its limit, and lost "
                                "those before.",
                                waveform.missing_tcks));
    }
    if (waveform.ends_early &&
        waveform.first_tck + waveform.samples.size() == waveform.total_tcks) {
        add_wrapped(lines, width,
                    fmt::format("The trace ends before TCK {}: it had reached its limit.",
                                waveform.total_tcks));
    }
    return lines;
}

std::vector<std::string> wrapped(std::string_view digits, size_t width) {
    std::vector<std::string> lines;
    for (size_t at = 0; at < digits.size(); at += width) {
        lines.emplace_back(digits.substr(at, width));
    }
    return lines;
}

std::string shortened(const std::string& digits, size_t width, std::string_view gap) {
    if (digits.size() <= width) {
        return digits;
    }
    // A gap may be one character of several bytes.
    const size_t gap_width = gap.front() == '.' ? gap.size() : 1;
    const size_t kept = width > gap_width ? width - gap_width : 0;
    const size_t head = (kept + 1) / 2;
    return digits.substr(0, head) + std::string(gap) + digits.substr(digits.size() - (kept - head));
}

} // namespace talvor::waveform
