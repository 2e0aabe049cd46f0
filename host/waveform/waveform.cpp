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
    // A whole run starts behind Capture or Exit2 and ends with TMS at one.
    shift.cut_at_start = run.first == 0 && waveform.first_tck != 0;
    shift.cut_at_end = !waveform.samples[run.first + run.count - 1].tms;
    return shift;
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
    for (const StateRun& run : state_runs(waveform)) {
        if (is_shift(run.state)) {
            shifts.push_back(shift_run(waveform, run));
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
