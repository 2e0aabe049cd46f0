#include "target_model.h"

#include <algorithm>
#include <array>
#include <map>

namespace endtoend {
namespace {

using talvor::TapState;

constexpr unsigned kLeadBits = 16;
constexpr unsigned kIdleClocks = 7;
constexpr size_t kLongestDelay = 1024;
constexpr size_t kMostKept = size_t{1} << 20;

TapState stable_state(JSC_JtagState state) {
    switch (state) {
    case eJSC_JTAG_STATE_RESET:
        return TapState::TestLogicReset;
    case eJSC_JTAG_STATE_PAUSE_DR:
        return TapState::PauseDr;
    case eJSC_JTAG_STATE_PAUSE_IR:
        return TapState::PauseIr;
    default:
        return TapState::RunTestIdle;
    }
}

// TMS levels of the shortest way: by deepening, which needs no table.
bool find_way(TapState from, TapState to, unsigned clocks, std::vector<bool>& way) {
    if (clocks == 0) {
        return from == to;
    }
    for (const bool tms : {false, true}) {
        way.push_back(tms);
        if (find_way(talvor::next_state(from, tms), to, clocks - 1, way)) {
            return true;
        }
        way.pop_back();
    }
    return false;
}

const std::vector<bool>& shortest_way(TapState from, TapState to) {
    static std::map<std::pair<TapState, TapState>, std::vector<bool>> known;
    const auto [place, is_new] = known.try_emplace({from, to});
    for (unsigned clocks = 0; is_new && !find_way(from, to, clocks, place->second); ++clocks) {
    }
    return place->second;
}

std::vector<bool> level(uint32_t count, bool ones) {
    return std::vector<bool>(count, ones);
}

} // namespace

TargetModel::TargetModel(const talvor::podsim::ChainDescription& chain, unsigned return_delay)
    : chain_(chain), return_delay_(return_delay), returned_(kLongestDelay, true) {}

JSC_JtagState TargetModel::state() const {
    for (const JSC_JtagState state : {eJSC_JTAG_STATE_RESET, eJSC_JTAG_STATE_IDLE,
                                      eJSC_JTAG_STATE_PAUSE_DR, eJSC_JTAG_STATE_PAUSE_IR}) {
        if (stable_state(state) == chain_.state()) {
            return state;
        }
    }
    return eJSC_JTAG_STATE_INVALID_FIRST;
}

void TargetModel::clock_to(TapState end) {
    for (const bool tms : shortest_way(chain_.state(), end)) {
        chain_.clock(tms, true);
    }
}

void TargetModel::go_to(TapState end, JSC_JtagTransit transit) {
    if (transit == eJSC_JTAG_TRANSIT_VIA_IDLE) {
        clock_to(TapState::RunTestIdle);
        for (unsigned i = 0; i < kIdleClocks; ++i) {
            chain_.clock(false, true);
        }
    } else if (end == TapState::PauseDr || end == TapState::PauseIr) {
        clock_to(end == TapState::PauseDr ? TapState::CaptureDr : TapState::CaptureIr);
    }
    clock_to(end);
}

void TargetModel::move(JSC_JtagState end, JSC_JtagTransit transit) {
    go_to(stable_state(end), transit);
}

// The place in returned_ of the first bit that this shift gives.
size_t TargetModel::shift(TapState shift_state, const std::vector<bool>& tdi, TapState end) {
    clock_to(shift_state);
    const size_t first = returned_.size();
    for (size_t i = 0; i < tdi.size(); ++i) {
        returned_.push_back(chain_.clock(i + 1 == tdi.size(), tdi[i]));
    }
    clock_to(end);
    return first;
}

void TargetModel::forget_long_ago() {
    if (returned_.size() > kMostKept) {
        returned_.erase(returned_.begin(), returned_.end() - kLongestDelay);
    }
}

void TargetModel::scan(ScanKind kind, const JSC_JtagCommand& command, uint32_t bits, Ambles ambles,
                       uint32_t repeats, const Words& out, Words& in) {
    forget_long_ago();
    const bool ir = command.jtagShift == eJSC_JTAG_SHIFT_IR;
    const TapState shift_state = ir ? TapState::ShiftIr : TapState::ShiftDr;
    const TapState pause = ir ? TapState::PauseIr : TapState::PauseDr;
    const TapState end = stable_state(command.jtagEnd);
    if (command.jtagAmble == eJSC_JTAG_AMBLE_NEITHER ||
        command.jtagAmble == eJSC_JTAG_AMBLE_POSTAMBLE) {
        ambles.before = 0;
    }
    if (command.jtagAmble == eJSC_JTAG_AMBLE_NEITHER ||
        command.jtagAmble == eJSC_JTAG_AMBLE_PREAMBLE) {
        ambles.behind = 0;
    }
    const bool moves_data = kind != ScanKind::Zeros && kind != ScanKind::Ones;
    const bool receives = kind == ScanKind::Both || kind == ScanKind::Receive;
    const bool adjust = moves_data && command.jtagAdjust == eJSC_JTAG_ADJUST_AUTO;
    const uint32_t step =
        command.jtagWidth == eJSC_JTAG_WIDTH_32 ? 2 * ((bits + 31) / 32) : words_of(bits);
    for (uint32_t repeat = 0; repeat < repeats; ++repeat) {
        if (command.jtagBefore != eJSC_JTAG_TRANSIT_QUICKEST) {
            go_to(pause, command.jtagBefore);
        }
        // Ambles are ones. The preamble takes the leading word over from the main shift.
        if (ambles.before != 0) {
            shift(shift_state, level(ambles.before + (adjust ? kLeadBits : 0), true), pause);
        }
        const uint32_t lead = adjust && receives && ambles.before == 0 ? kLeadBits : 0;
        std::vector<bool> tdi = level(lead, kind == ScanKind::Both);
        const bool reuse = command.jtagUsage == eJSC_JTAG_USAGE_REUSE;
        for (uint32_t i = 0; i < bits; ++i) {
            if (kind == ScanKind::Send || kind == ScanKind::Both) {
                const uint16_t word = out[size_t{reuse ? 0 : repeat} * step + i / 16];
                tdi.push_back(((word >> (i % 16)) & 1) != 0);
            } else {
                tdi.push_back(kind == ScanKind::Ones);
            }
        }
        const size_t first = shift(shift_state, tdi, ambles.behind != 0 ? pause : end);
        if (ambles.behind != 0) {
            shift(shift_state, level(ambles.behind, true), end);
        }
        for (uint32_t i = 0; receives && i < words_of(bits) * 16; ++i) {
            uint16_t& word = in[size_t{repeat} * step + i / 16];
            const unsigned mask = 1U << (i % 16);
            const bool bit = i < bits && returned_[first + lead + i - return_delay_];
            word = static_cast<uint16_t>(bit ? word | mask : word & ~mask);
        }
        if (command.jtagAfter != eJSC_JTAG_TRANSIT_QUICKEST) {
            go_to(end, command.jtagAfter);
        }
    }
}

} // namespace endtoend
