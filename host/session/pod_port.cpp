#include "host/session/pod_port.h"

#include "common/interrupt.h"

#include <fmt/format.h>

#include <algorithm>
#include <limits>
#include <thread>
#include <utility>

namespace talvor {
namespace {

// Automatic adjustment adds a word to the count, which must still fit 32 bits.
constexpr uint64_t kMaxScanBits = std::numeric_limits<uint32_t>::max() - Bits::kWordBits;
// What the pod's return path holds back: one word, as the driver's adjustment has it.
constexpr size_t kHeldBits = Bits::kWordBits;
// What one pass through Run-Test/Idle spends there.
constexpr uint64_t kIdleClocks = JSC_IDLE_TRANSIT_CLOCKS;
// Go-tos to queue between two looks at the interrupt flag.
constexpr uint64_t kIdlePassesAtOnce = 1U << 16;

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

JSC_JtagCommand scan_command(const Scan& scan) {
    JSC_JtagCommand command{};
    command.jtagBefore = eJSC_JTAG_TRANSIT_QUICKEST;
    command.jtagShift = scan.path == ScanPath::Ir ? eJSC_JTAG_SHIFT_IR : eJSC_JTAG_SHIFT_DR;
    command.jtagAfter = eJSC_JTAG_TRANSIT_QUICKEST;
    command.jtagEnd = driver_state(scan.end);
    command.jtagDelay = eJSC_JTAG_DELAY_USE_END;
    command.jtagAmble = eJSC_JTAG_AMBLE_NEITHER;
    command.jtagUsage = eJSC_JTAG_USAGE_FRESH;
    command.jtagWidth = eJSC_JTAG_WIDTH_16;
    command.jtagAdjust = eJSC_JTAG_ADJUST_AUTO;
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

const char* path_name(ScanPath path) {
    return path == ScanPath::Ir ? "IR scan" : "DR scan";
}

} // namespace

PodPort::PodPort(Pod& pod, TestClock clock, KeyStore configured)
    : pod_(&pod), clock_(std::move(clock)), configured_(std::move(configured)),
      setting_(clock_.setting(configured_)) {}

Result<PodPort> PodPort::open(Pod& pod, TestClock clock, KeyStore configured) {
    PodPort port(pod, std::move(clock), std::move(configured));
    (void)TRY(port.ask_state());
    return port;
}

Status PodPort::can_scan(ScanPath path, uint64_t length_bits, bool) const {
    if (length_bits == 0 || length_bits > kMaxScanBits) {
        return refused_error(fmt::format("{} of {} bits", path_name(path), length_bits),
                             fmt::format("the driver shifts 1 to {} bits at once", kMaxScanBits),
                             "split it into scans that end in a Pause state");
    }
    return {};
}

Status PodPort::can_run(StableState state, uint64_t clocks, ClockLine line) const {
    if (clocks == 0) {
        return {};
    }
    if (line == ClockLine::Sck) {
        return refused_error("clocks of SCK", "the pod does not see the target's system clock",
                             "give a time instead of a count");
    }
    if (state != StableState::Idle) {
        return refused_error(fmt::format("{} clocks in {}", clocks, name_of(state)),
                             "the pod counts clocks in Run-Test/Idle only",
                             "run them in Run-Test/Idle, or give a time instead of a count");
    }
    return {};
}

Status PodPort::can_set_trst(TrstLevel level) const {
    switch (level) {
    case TrstLevel::Released:
        return {};
    case TrstLevel::Asserted:
        return refused_error(
            "TRST asserted", "the pod pulses TRSTn, it cannot hold it low",
            "reset the TAP by TMS (STATE RESET), or pulse the pin first with 'talvor "
            "reset --trst'");
    case TrstLevel::HighZ:
        return refused_error("TRST let float", "the pod always drives TRSTn", "release it instead");
    }
    return {};
}

Status PodPort::can_set_max_frequency(std::optional<double> hertz) const {
    if (hertz && !clock_.at_most(*hertz)) {
        return refused_error(fmt::format("test clock of at most {}", frequency_text(*hertz)),
                             fmt::format("the pod's slowest is {}",
                                         frequency_text(static_cast<double>(clock_.slowest()))));
    }
    return {};
}

Status PodPort::put_state(StableState to, JSC_JtagTransit how, uint32_t times) {
    TRY(check_interrupt());
    JSC_JtagCommand command{};
    command.jtagAfter = how;
    command.jtagEnd = driver_state(to);
    state_.reset();
    TRY(pod_->run(fmt::format("moving to {}", name_of(to)), &JSC_Interface::PutState, &command, 0U,
                  times));
    state_ = to;
    return {};
}

Status PodPort::reset_tap() {
    // The controller takes the shortest way, which is fewer than five ones from Run-Test/Idle and
    // none when it believes the TAP reset already. From Pause-DR it is five, whatever the target
    // believes; and with the TAP reset the way there touches no register but IDCODE or BYPASS.
    for (const StableState to : {StableState::Reset, StableState::PauseDr, StableState::Reset}) {
        TRY(put_state(to, eJSC_JTAG_TRANSIT_QUICKEST, 1));
    }
    return {};
}

Status PodPort::move(StableState to) {
    if (state_ == to && (to == StableState::Reset || to == StableState::Idle)) {
        return {};
    }
    return put_state(to, eJSC_JTAG_TRANSIT_QUICKEST, 1);
}

Status PodPort::move_via_idle(StableState to, uint32_t times) {
    return put_state(to, eJSC_JTAG_TRANSIT_VIA_IDLE, times);
}

Status PodPort::scan(const Scan& scan) {
    TRY(can_scan(scan.path, scan.out->size(), scan.in != nullptr));
    TRY(check_interrupt());
    state_.reset();
    const JSC_JtagCommand command = scan_command(scan);
    TRY(scan.in == nullptr            ? scan_out(command, scan)
        : mode_ == ReceiveMode::Exact ? scan_exact(command, scan)
                                      : scan_adjusted(command, scan));
    state_ = scan.end;
    return {};
}

Status PodPort::scan_out(const JSC_JtagCommand& command, const Scan& scan) {
    const JSC_JtagParam16 parameter = scan_parameter(*scan.out);
    return pod_->run(path_name(scan.path), &JSC_Interface::ScanSend16, &command, &parameter);
}

Status PodPort::scan_adjusted(JSC_JtagCommand command, const Scan& scan) {
    command.jtagAdjust = eJSC_JTAG_ADJUST_AUTO;
    return scan_both(command, *scan.out, *scan.in);
}

Status PodPort::scan_exact(JSC_JtagCommand command, const Scan& scan) {
    command.jtagAdjust = eJSC_JTAG_ADJUST_USER;
    command.jtagEnd =
        scan.path == ScanPath::Ir ? eJSC_JTAG_STATE_PAUSE_IR : eJSC_JTAG_STATE_PAUSE_DR;
    // In: what the return path held before, then all but the last bits of the answer.
    Bits answer;
    TRY(scan_both(command, *scan.out, answer));
    // From the Pause state the shift goes on without a capture. The same bits once more leave the
    // same content behind; at least as many as are held back.
    Bits again = scan.out->size() < kHeldBits ? Bits::ones(kHeldBits) : Bits();
    again.append(*scan.out);
    command.jtagEnd = driver_state(scan.end);
    Bits rest;
    TRY(scan_both(command, again, rest));
    answer.append(rest.slice(0, kHeldBits));
    *scan.in = answer.slice(kHeldBits, scan.out->size());
    return {};
}

Status PodPort::scan_both(const JSC_JtagCommand& command, const Bits& out, Bits& in) {
    const size_t words = out.words().size();
    std::vector<uint16_t>& received = pod_->receive_buffer(words);
    JSC_JtagParam16 parameter = scan_parameter(out);
    parameter.pInBuffer = received.data();
    const char* thing =
        command.jtagShift == eJSC_JTAG_SHIFT_IR ? path_name(ScanPath::Ir) : path_name(ScanPath::Dr);
    Status status = pod_->run(thing, &JSC_Interface::ScanBoth16, &command, &parameter);
    if (!status) {
        pod_->retire_receive_buffer();
        return status;
    }
    in.resize(out.size());
    std::copy_n(received.begin(), words, in.words().begin());
    in.clear_unused();
    return {};
}

Status PodPort::run(StableState state, uint64_t clocks, std::chrono::nanoseconds at_least) {
    TRY(can_run(state, clocks, ClockLine::Tck));
    if (state_ != state) {
        TRY(move(state));
    }
    const auto start = std::chrono::steady_clock::now();
    uint64_t passes = (clocks + kIdleClocks - 1) / kIdleClocks;
    while (passes != 0) {
        const uint64_t now = std::min(passes, kIdlePassesAtOnce);
        TRY(move_via_idle(StableState::Idle, static_cast<uint32_t>(now)));
        passes -= now;
    }
    TRY(flush());
    std::this_thread::sleep_until(start + at_least);
    return check_interrupt();
}

Status PodPort::set_trst(TrstLevel level) {
    TRY(can_set_trst(level));
    bool released = false;
    TRY(pod_->run("reading TRSTn", &JSC_Interface::StatusTrstn, &released));
    if (released) {
        return {};
    }
    return pod_->run("releasing TRSTn", &JSC_Interface::ModifyTrstn, eJSC_JTAG_PIN_SET_LEVEL, 1U,
                     0U);
}

Status PodPort::set_max_frequency(std::optional<double> hertz) {
    TRY(can_set_max_frequency(hertz));
    const ClockSetting configured = clock_.setting(configured_);
    if (!hertz || static_cast<double>(clock_.hertz(configured)) <= *hertz) {
        return set_clock(configured);
    }
    return set_clock(*clock_.at_most(*hertz));
}

Status PodPort::set_clock(const ClockSetting& setting) {
    if (setting == setting_) {
        return {};
    }
    KeyStore keys = configured_;
    clock_.apply(setting, keys);
    setting_ = setting;
    TRY(pod_->reconnect(std::move(keys)));
    (void)TRY(ask_state());
    return {};
}

Result<StableState> PodPort::ask_state() {
    JSC_JtagState answer = eJSC_JTAG_STATE_INVALID_FIRST;
    TRY(pod_->run("asking for the TAP state", &JSC_Interface::GetState, &answer));
    state_ = stable_state_of(answer);
    if (!state_) {
        // A scan that failed leaves the TAP in a Shift state; only a reset leads on from there.
        TRY(reset_tap());
    }
    return *state_;
}

} // namespace talvor
