#include "host/waveform/waveform.h"

#include <fmt/format.h>

#include <algorithm>

namespace talvor::waveform {
namespace {

ShiftRun shift_run(const Waveform& waveform, const StateRun& run) {
    ShiftRun shift;
    shift.path = run.state == TapState::ShiftDr ? ScanPath::Dr : ScanPath::Ir;
    shift.first = run.first;
    shift.tdi = Bits(run.count);
    shift.tdo = Bits(run.count);
    for (size_t i = 0; i < run.count; ++i) {
        const Sample& sample = waveform.samples[run.first + i];
        shift.tdi.set(i, sample.tdi);
        shift.tdo.set(i, sample.tdo);
        shift.tdo_known = shift.tdo_known && sample.tdo_known;
    }
    return shift;
}

// Where the passes of a trace end.
class PassCount {
public:
    explicit PassCount(const Waveform& waveform) : passes_(waveform.passes) {
        skip(waveform.first_shift_tck);
    }

    // How many of the next `count` Shift clocks belong to one pass, and its name.
    [[nodiscard]] size_t same(size_t count) const {
        return next_ == passes_.size()
                   ? count
                   : static_cast<size_t>(std::min<uint64_t>(count, passes_[next_].clocks - done_));
    }
    [[nodiscard]] std::string_view name() const {
        return next_ == passes_.size() ? std::string_view() : passes_[next_].name;
    }
    void skip(uint64_t count) {
        for (done_ += count; next_ < passes_.size() && done_ >= passes_[next_].clocks; ++next_) {
            done_ -= passes_[next_].clocks;
        }
    }

private:
    const std::vector<ShiftPass>& passes_;
    size_t next_ = 0;
    uint64_t done_ = 0; // of the next one
};

void add_shift_runs(const Waveform& waveform, const StateRun& run, PassCount& passes,
                    std::vector<ShiftRun>& shifts) {
    const size_t end = run.first + run.count;
    for (size_t first = run.first; first < end;) {
        const size_t count = passes.same(end - first);
        shifts.push_back(shift_run(waveform, {run.state, first, count}));
        shifts.back().pass = passes.name();
        // A whole run starts behind Capture or Exit2 and ends with TMS at one.
        shifts.back().cut_at_start = first == 0 && waveform.first_tck != 0;
        shifts.back().cut_at_end = first + count == end && !waveform.samples[end - 1].tms;
        passes.skip(count);
        first += count;
    }
}

} // namespace

std::string_view name(Pin pin) noexcept {
    constexpr std::array<std::string_view, kPinCount> kNames{"TRSTn", "EMU0", "EMU1", "RESET"};
    return kNames[static_cast<size_t>(pin)];
}

bool Waveform::changes(Pin pin) const noexcept {
    return std::ranges::any_of(pin_changes,
                               [pin](const PinChange& change) { return change.pin == pin; });
}

std::vector<StateRun> state_runs(const Waveform& waveform) {
    std::vector<StateRun> runs;
    for (size_t i = 0; i < waveform.samples.size(); ++i) {
        const TapState state = waveform.samples[i].state;
        if (runs.empty() || runs.back().state != state) {
            runs.push_back({state, i, 0});
        }
        ++runs.back().count;
    }
    return runs;
}

std::vector<ShiftRun> shift_runs(const Waveform& waveform) {
    std::vector<ShiftRun> shifts;
    PassCount passes(waveform);
    for (const StateRun& run : state_runs(waveform)) {
        if (is_shift(run.state)) {
            add_shift_runs(waveform, run, passes, shifts);
        }
    }
    return shifts;
}

TapState final_state(const Waveform& waveform) {
    if (waveform.samples.empty()) {
        return TapState::TestLogicReset;
    }
    const Sample& last = waveform.samples.back();
    return next_state(last.state, last.tms);
}

std::string_view short_name(TapState state) noexcept {
    constexpr std::array<std::string_view, kTapStates> kNames{
        "TLR", "RTI", "SeD", "CaD", "ShD", "E1D", "PaD", "E2D",
        "UpD", "SeI", "CaI", "ShI", "E1I", "PaI", "E2I", "UpI"};
    return kNames[static_cast<size_t>(state)];
}

std::string time_text(uint64_t time_ps) {
    struct Unit {
        uint64_t ps;
        const char* name;
    };
    constexpr std::array kUnits{Unit{1000000000000, "s"}, Unit{1000000000, "ms"},
                                Unit{1000000, "us"}, Unit{1000, "ns"}};
    for (const Unit& unit : kUnits) {
        if (time_ps >= unit.ps) {
            return fmt::format("{:.3f} {}",
                               static_cast<double>(time_ps) / static_cast<double>(unit.ps),
                               unit.name);
        }
    }
    return fmt::format("{} ps", time_ps);
}

} // namespace talvor::waveform
