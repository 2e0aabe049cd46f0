#include "host/session/pod_line.h"

#include <algorithm>
#include <array>
#include <vector>

namespace talvor {
namespace {

JSC_JtagState driver_state(StableState state) {
    switch (state) {
    case StableState::Reset:
        return eJSC_JTAG_STATE_RESET;
    case StableState::Idle:
        return eJSC_JTAG_STATE_IDLE;
    case StableState::PauseDr:
        return eJSC_JTAG_STATE_PAUSE_DR;
    case StableState::PauseIr:
        return eJSC_JTAG_STATE_PAUSE_IR;
    }
    return eJSC_JTAG_STATE_INVALID_FIRST;
}

std::optional<StableState> stable_state_of(JSC_JtagState state) {
    switch (state) {
    case eJSC_JTAG_STATE_RESET:
        return StableState::Reset;
    case eJSC_JTAG_STATE_IDLE:
        return StableState::Idle;
    case eJSC_JTAG_STATE_PAUSE_DR:
        return StableState::PauseDr;
    case eJSC_JTAG_STATE_PAUSE_IR:
        return StableState::PauseIr;
    default:
        return std::nullopt;
    }
}

// What an error calls a move to a state.
const char* move_name(StableState to) {
    constexpr std::array kNames{"moving to Test-Logic-Reset", "moving to Run-Test/Idle",
                                "moving to Pause-DR", "moving to Pause-IR"};
    return kNames[static_cast<size_t>(to)];
}

const char* scan_name(JSC_JtagShift path) {
    return path == eJSC_JTAG_SHIFT_IR ? "IR scan" : "DR scan";
}

JSC_JtagCommand scan_command(ScanPath path, StableState end, JSC_JtagAdjust adjust) {
    JSC_JtagCommand command{};
    command.jtagBefore = eJSC_JTAG_TRANSIT_QUICKEST;
    command.jtagShift = path == ScanPath::Ir ? eJSC_JTAG_SHIFT_IR : eJSC_JTAG_SHIFT_DR;
    command.jtagAfter = eJSC_JTAG_TRANSIT_QUICKEST;
    command.jtagEnd = driver_state(end);
    command.jtagDelay = eJSC_JTAG_DELAY_USE_END;
    command.jtagAmble = eJSC_JTAG_AMBLE_NEITHER;
    command.jtagUsage = eJSC_JTAG_USAGE_FRESH;
    command.jtagWidth = eJSC_JTAG_WIDTH_16;
    command.jtagAdjust = adjust;
    return command;
}

// One shift of `out`.
JSC_JtagParam16 scan_parameter(const Bits& out) {
    JSC_JtagParam16 parameter{};
    parameter.repeatCount = 1;
    parameter.shiftCount = static_cast<uint32_t>(out.size());
    // The record has no const; the driver only reads through it.
    parameter.pOutBuffer = const_cast<uint16_t*>(out.words().data());
    return parameter;
}

} // namespace

Status PodLine::send(ScanPath path, const Bits& out, StableState end) {
    const JSC_JtagCommand command = scan_command(path, end, eJSC_JTAG_ADJUST_USER);
    const JSC_JtagParam16 parameter = scan_parameter(out);
    state_.reset();
    TRY(pod_.run(scan_name(command.jtagShift), &JSC_Interface::ScanSend16, &command, &parameter));
    state_ = end;
    return {};
}

Status PodLine::exchange(ScanPath path, const Bits& out, Bits& in, StableState end) {
    return scan_both(scan_command(path, end, eJSC_JTAG_ADJUST_USER), out, in, end);
}

Status PodLine::exchange_adjusted(ScanPath path, const Bits& out, Bits& in, StableState end) {
    return scan_both(scan_command(path, end, eJSC_JTAG_ADJUST_AUTO), out, in, end);
}

Status PodLine::scan_both(const JSC_JtagCommand& command, const Bits& out, Bits& in,
                          StableState end) {
    const size_t words = out.words().size();
    std::vector<uint16_t>& received = pod_.receive_buffer(words);
    JSC_JtagParam16 parameter = scan_parameter(out);
    parameter.pInBuffer = received.data();
    state_.reset();
    Status status =
        pod_.run(scan_name(command.jtagShift), &JSC_Interface::ScanBoth16, &command, &parameter);
    if (!status) {
        pod_.retire_receive_buffer();
        return status;
    }
    state_ = end;
    in.resize(out.size());
    std::copy_n(received.begin(), words, in.words().begin());
    in.clear_unused();
    return {};
}

Status PodLine::put_state(StableState to, JSC_JtagTransit how, uint32_t times) {
    JSC_JtagCommand command{};
    command.jtagAfter = how;
    command.jtagEnd = driver_state(to);
    state_.reset();
    TRY(pod_.run(move_name(to), &JSC_Interface::PutState, &command, 0U, times));
    state_ = to;
    return {};
}

Status PodLine::move(StableState to) {
    return put_state(to, eJSC_JTAG_TRANSIT_QUICKEST, 1);
}

Status PodLine::move_via_idle(StableState to, uint32_t times) {
    return put_state(to, eJSC_JTAG_TRANSIT_VIA_IDLE, times);
}

Status PodLine::reset_tap() {
    // The controller takes the shortest way, which is fewer than five ones from Run-Test/Idle and
    // none when it believes the TAP reset already. From Pause-DR it is five, whatever the target
    // believes; and with the TAP reset the way there touches no register but IDCODE or BYPASS.
    for (const StableState to : {StableState::Reset, StableState::PauseDr, StableState::Reset}) {
        TRY(move(to));
    }
    return {};
}

Result<StableState> PodLine::ask_state() {
    JSC_JtagState answer = eJSC_JTAG_STATE_INVALID_FIRST;
    TRY(pod_.run("asking for the TAP state", &JSC_Interface::GetState, &answer));
    state_ = stable_state_of(answer);
    if (!state_) {
        // A scan that failed leaves the TAP in a Shift state; only a reset leads on from there.
        TRY(reset_tap());
    }
    return *state_;
}

} // namespace talvor
