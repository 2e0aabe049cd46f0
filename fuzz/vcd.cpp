// Traces: reading a value change dump, a part of it, and drawing it. The input is the file.
#include "host/waveform/vcd.h"

#include "fuzz/base/check.h"
#include "fuzz/targets.h"
#include "host/waveform/layout.h"
#include "host/waveform/svg.h"
#include "host/waveform/text.h"

#include <algorithm>
#include <sstream>
#include <string>

namespace talvor::fuzz {
namespace {

using waveform::Waveform;
using waveform::Window;

constexpr const char* kName = "a.vcd";
constexpr size_t kMostDrawn = 300;

Result<Waveform> read(Bytes input, const Window& window) {
    std::istringstream stream{std::string(text_of(input))};
    return waveform::read_vcd(stream, kName, window);
}

void check_order(const Waveform& whole) {
    uint64_t time_ps = 0;
    for (const waveform::Sample& sample : whole.samples) {
        FUZZ_CHECK(sample.time_ps >= time_ps, "samples stand in the order of time");
        FUZZ_CHECK(index_of(sample.state) < kTapStates, "a sample has one of the states");
        time_ps = sample.time_ps;
    }
    size_t before = 0;
    time_ps = 0;
    for (const waveform::PinChange& change : whole.pin_changes) {
        FUZZ_CHECK(change.time_ps >= time_ps && change.before_sample >= before,
                   "changes of pins stand in the order of time");
        FUZZ_CHECK(change.before_sample <= whole.samples.size(), "a change stands at a sample");
        time_ps = change.time_ps;
        before = change.before_sample;
    }
}

// What a window of the whole must hold.
Waveform cut(const Waveform& whole, const Window& window) {
    Waveform part;
    part.total_tcks = whole.total_tcks;
    const uint64_t missing = whole.missing_tcks;
    part.first_tck = std::clamp(window.first_tck, missing, whole.total_tcks);
    part.pins_at_start = whole.pins_at_start;
    for (uint64_t i = part.first_tck; i < whole.total_tcks && i - window.first_tck < window.count;
         ++i) {
        part.samples.push_back(whole.samples[i - missing]);
    }
    for (waveform::PinChange change : whole.pin_changes) {
        const uint64_t tck = missing + change.before_sample;
        if (tck < window.first_tck) {
            part.pins_at_start[static_cast<size_t>(change.pin)] = change.level;
        } else if (tck - window.first_tck <= window.count) {
            change.before_sample = tck - part.first_tck;
            part.pin_changes.push_back(change);
        }
    }
    return part;
}

void check_window(Bytes input, const Waveform& whole, const Window& window) {
    const Result<Waveform> part = read(input, window);
    FUZZ_CHECK(part.has_value(), "a file that is good as a whole is good in a window");
    const Waveform expected = cut(whole, window);
    FUZZ_CHECK(part->first_tck == expected.first_tck && part->total_tcks == expected.total_tcks,
               "a window tells where it stands");
    FUZZ_CHECK(part->samples == expected.samples, "a window holds the samples of the whole");
    FUZZ_CHECK(part->pin_changes == expected.pin_changes,
               "a window holds the changes of the whole");
    FUZZ_CHECK(part->pins_at_start == expected.pins_at_start, "a window begins with the levels");
}

void check_runs(const Waveform& whole) {
    size_t next = 0;
    for (const waveform::StateRun& run : waveform::state_runs(whole)) {
        FUZZ_CHECK(run.first == next && run.count != 0, "runs of states join");
        next += run.count;
    }
    FUZZ_CHECK(next == whole.samples.size(), "runs of states cover all samples");
    for (const waveform::ShiftRun& run : waveform::shift_runs(whole)) {
        FUZZ_CHECK(run.tdi.size() == run.tdo.size() && !run.tdi.empty(), "a shift has bits");
        FUZZ_CHECK(run.first + run.tdi.size() <= whole.samples.size(), "a shift is in the trace");
    }
    size_t drawn = 0;
    for (const waveform::Row& row : waveform::lay_out(whole, {})) {
        for (const waveform::Column& column : row.columns) {
            FUZZ_CHECK(column.sample == drawn, "columns join");
            drawn += column.skipped == 0 ? 1 : column.skipped;
        }
    }
    FUZZ_CHECK(drawn == whole.samples.size(), "columns cover all samples");
}

void check_drawings(const Waveform& whole) {
    for (const size_t width : {size_t{24}, size_t{80}}) {
        std::istringstream lines(waveform::to_text(whole, {.width = width, .unicode = false}));
        for (std::string line; std::getline(lines, line);) {
            FUZZ_CHECK(line.size() <= width, "no line is wider than the width: " + line);
        }
    }
    (void)waveform::to_text(whole, {.color = true, .longest_run = 0});
    const std::string picture = waveform::to_svg(whole, {.title = "<&>"});
    FUZZ_CHECK(picture.find("</svg>") != std::string::npos, "a picture has an end");
}

} // namespace

void run_vcd(Bytes input) {
    const Result<Waveform> whole = read(input, {});
    if (!whole) {
        check_error(whole.error(), kName);
        return;
    }
    FUZZ_CHECK(whole->first_tck == whole->missing_tcks &&
                   whole->total_tcks - whole->missing_tcks == whole->samples.size(),
               "the whole holds every clock that is not missing");
    check_order(*whole);
    const uint64_t third = whole->total_tcks / 3;
    for (const Window window : {Window{0, third}, Window{third, third + 1}, Window{third + 1, 0},
                                Window{whole->total_tcks + 1, UINT64_MAX}}) {
        check_window(input, *whole, window);
    }
    check_runs(*whole);
    if (whole->samples.size() <= kMostDrawn) {
        check_drawings(*whole);
    }
}

} // namespace talvor::fuzz
