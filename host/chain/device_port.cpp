#include "host/chain/device_port.h"

#include "host/scan/shift_line.h"

#include <algorithm>

namespace talvor {
namespace {

constexpr size_t kIdCodeBits = 32;

size_t most(const ScanSurroundings& around) {
    return around.before + around.after;
}

ScanSurroundings surroundings_after_reset(const Chain& chain, size_t index) {
    ScanSurroundings bits;
    for (size_t i = 0; i < chain.devices.size(); ++i) {
        const size_t length = chain.devices[i].idcode ? kIdCodeBits : 1;
        bits.after += i < index ? length : 0;
        bits.before += i > index ? length : 0;
    }
    return bits;
}

} // namespace

DevicePlace place_of(const Chain& chain, size_t index, IdCodes codes) {
    DevicePlace place;
    place.instruction = surroundings(chain, index, ScanPath::Ir);
    place.data = surroundings(chain, index, ScanPath::Dr);
    place.instruction_bits = chain.devices[index].instruction_bits;
    if (codes == IdCodes::Read) {
        place.data_after_reset = surroundings_after_reset(chain, index);
    }
    return place;
}

// With the most that it can come to.
Status DevicePort::can_scan(ScanPath path, uint64_t length_bits, bool receive) const {
    if (length_bits == 0) {
        return port_.can_scan(path, 0, receive);
    }
    const size_t more = path == ScanPath::Ir ? most(place_.instruction)
                                             : most(place_.data_after_reset.value_or(place_.data));
    return port_.can_scan(path, length_bits + more, receive);
}

Result<ScanSurroundings> DevicePort::around(ScanPath path) const {
    if (path == ScanPath::Ir) {
        return place_.instruction;
    }
    if (!after_reset_) {
        return place_.data;
    }
    if (!place_.data_after_reset) {
        return refused_error(
            "a data scan behind a reset",
            "which of the other devices answer with an IDCODE is not known",
            "begin with an instruction, or leave --no-reset away, so that the chain is read");
    }
    return *place_.data_after_reset;
}

void DevicePort::note_move(StableState state) noexcept {
    captured_ = state == StableState::PauseIr;
    after_reset_ = after_reset_ || state == StableState::Reset;
}

// The path to Update loads what was captured. The device gets its own back, as it would alone.
Status DevicePort::bypass_the_others() {
    captured_ = false;
    after_reset_ = false;
    const size_t before = place_.instruction.before;
    const size_t after = place_.instruction.after;
    if (before == 0 && after == 0) {
        return {};
    }
    out_.clear();
    out_.resize(before + place_.instruction_bits + after, true);
    TRY(port_.scan({ScanPath::Ir, &out_, &in_, StableState::PauseIr}));
    out_.resize(before);
    out_.append(in_.slice(before, place_.instruction_bits));
    out_.resize(out_.size() + after, true);
    return port_.scan({ScanPath::Ir, &out_, nullptr, StableState::PauseIr});
}

Status DevicePort::leave() {
    if (captured_) {
        return bypass_the_others();
    }
    if (!resting_) {
        return {};
    }
    const ScanPath path = *resting_;
    resting_.reset();
    after_reset_ = after_reset_ && path != ScanPath::Ir;
    if (after_ == 0) {
        return {};
    }
    out_.clear();
    out_.resize(after_, true);
    return port_.scan({path, &out_, nullptr, pause_state(path)});
}

Status DevicePort::widened(const Scan& scan, size_t before, size_t after) {
    if (before == 0 && after == 0) {
        return port_.scan(scan);
    }
    const size_t bits = scan.out->size();
    out_.clear();
    out_.resize(before, true);
    out_.append(*scan.out);
    out_.resize(out_.size() + after, true);
    TRY(port_.scan({scan.path, &out_, scan.in == nullptr ? nullptr : &in_, scan.end}));
    if (scan.in != nullptr) {
        *scan.in = in_.slice(before, bits);
    }
    return {};
}

Status DevicePort::scan(const Scan& scan) {
    const bool goes_on = resting_ == scan.path;
    const bool first = captured_ && scan.path == ScanPath::Ir;
    if (!goes_on && !first) {
        TRY(leave());
    }
    const ScanSurroundings bits = goes_on ? ScanSurroundings{0, after_} : TRY(around(scan.path));
    const bool rests = scan.end == pause_state(scan.path);
    TRY(widened(scan, bits.before, rests ? 0 : bits.after));
    after_ = bits.after;
    resting_ = rests ? std::optional(scan.path) : std::nullopt;
    after_reset_ = after_reset_ && (rests || scan.path != ScanPath::Ir);
    note_move(scan.end);
    captured_ = captured_ && !rests;
    return {};
}

Status DevicePort::reset_tap() {
    TRY(leave());
    TRY(port_.reset_tap());
    note_move(StableState::Reset);
    return {};
}

Status DevicePort::move(StableState to) {
    TRY(leave());
    TRY(port_.move(to));
    note_move(to);
    return {};
}

Status DevicePort::run(StableState state, uint64_t clocks, std::chrono::nanoseconds at_least) {
    const bool stays =
        resting_ ? state == pause_state(*resting_) : captured_ && state == StableState::PauseIr;
    if (!stays) {
        TRY(leave());
    }
    TRY(port_.run(state, clocks, at_least));
    if (!stays) {
        note_move(state);
    }
    return {};
}

Status DevicePort::set_trst(TrstLevel level) {
    TRY(port_.set_trst(level));
    if (level == TrstLevel::Asserted) {
        resting_.reset();
        note_move(StableState::Reset);
    }
    return {};
}

Status DevicePort::pulse_trst() {
    TRY(port_.pulse_trst());
    resting_.reset();
    note_move(StableState::Reset);
    return {};
}

Status scan_device(JtagPort& port, const DevicePlace& place, const Scan& scan) {
    DevicePort device(port, place);
    TRY(device.scan(scan));
    return device.leave();
}

} // namespace talvor
