#include "host/session/pod_port.h"

#include "common/interrupt.h"

#include <fmt/format.h>

#include <algorithm>
#include <limits>
#include <utility>

namespace talvor {
namespace {

// What is shifted beside the scan's own bits must fit the driver's 32-bit count with them.
constexpr uint64_t kMaxScanBits = std::numeric_limits<uint32_t>::max() - 0xFFFFU;
// What one pass through Run-Test/Idle spends there.
constexpr uint64_t kIdleClocks = JSC_IDLE_TRANSIT_CLOCKS;
// Go-tos to queue between two looks at the interrupt flag.
constexpr uint64_t kIdlePassesAtOnce = 1U << 16;

const char* path_name(ScanPath path) {
    return path == ScanPath::Ir ? "IR scan" : "DR scan";
}

} // namespace

PodPort::PodPort(Pod& pod, TestClock clock, KeyStore configured)
    : pod_(&pod), clock_(std::move(clock)), configured_(std::move(configured)),
      setting_(clock_.setting(configured_)), line_(std::make_unique<PodLine>(pod)),
      scan_(std::make_unique<ExactScan>(*line_)) {}

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

// What is left open rests in its Pause state afterwards, with the right content.
Status PodPort::leave_scan() {
    return scan_->open() ? scan_->finish(pause_state(scan_->path())) : Status();
}

// Tells an operation that was done, or that it failed halfway.
template <typename Tell>
Status PodPort::told(Status done, Tell tell) {
    if (watcher_ == nullptr) {
        return done;
    }
    if (done) {
        return tell(*watcher_);
    }
    const ErrorKind kind = done.error().kind;
    if (kind == ErrorKind::Pod || kind == ErrorKind::Target) {
        (void)watcher_->failed(done.error());
    }
    return done;
}

Status PodPort::watch(PortWatcher* watcher) {
    watcher_ = watcher;
    if (watcher == nullptr) {
        return {};
    }
    TRY(watcher->set_clock(static_cast<double>(hertz())));
    return ask_state().map([](const auto&) { return Done(); });
}

Status PodPort::tell(std::string_view what) {
    return watcher_ == nullptr ? Status() : watcher_->other(what);
}

Status PodPort::reset_tap() {
    return told(do_reset_tap(), [](PortWatcher& watcher) { return watcher.was_reset(); });
}

Status PodPort::do_reset_tap() {
    TRY(check_interrupt());
    // What an open scan leaves behind matters, but the reset must come in any case.
    (void)leave_scan();
    scan_->note_reset();
    return line_->reset_tap();
}

Status PodPort::move(StableState to) {
    return told(do_move(to), [to](PortWatcher& watcher) { return watcher.moved(to); });
}

Status PodPort::do_move(StableState to) {
    TRY(check_interrupt());
    if (scan_->open() && to != pause_state(scan_->path())) {
        return scan_->finish(to);
    }
    TRY(leave_scan());
    if (line_->state() == to && (to == StableState::Reset || to == StableState::Idle)) {
        return {};
    }
    if (to == StableState::Reset) {
        scan_->note_reset();
    }
    return line_->move(to);
}

Status PodPort::move_via_idle(StableState to, uint32_t times) {
    return told(do_move_via_idle(to, times), [to, times](PortWatcher& watcher) -> Status {
        for (uint32_t i = 0; i < times; ++i) {
            TRY(watcher.ran(StableState::Idle, kIdleClocks, std::chrono::nanoseconds(0)));
            if (to != StableState::Idle) {
                TRY(watcher.moved(to));
            }
        }
        return {};
    });
}

Status PodPort::do_move_via_idle(StableState to, uint32_t times) {
    TRY(check_interrupt());
    TRY(leave_scan());
    return line_->move_via_idle(to, times);
}

Status PodPort::scan(const Scan& scan) {
    return watcher_ == nullptr ? do_scan(scan) : watched_scan(scan);
}

// The driver's adjustment shifts a word of ones first, which the target sees as part of the scan.
Status PodPort::watched_scan(const Scan& scan) {
    Bits out;
    if (mode_ == ReceiveMode::Adjusted && scan.in != nullptr) {
        out = Bits::ones(ShiftLine::kHeldBits);
    }
    out.append(*scan.out); // which the answer may take the place of
    return told(do_scan(scan), [&](PortWatcher& watcher) {
        return watcher.scanned(scan.path, out, scan.in, scan.end);
    });
}

Status PodPort::do_scan(const Scan& scan) {
    TRY(can_scan(scan.path, scan.out->size(), scan.in != nullptr));
    TRY(check_interrupt());
    return mode_ == ReceiveMode::Exact ? scan_exactly(scan) : scan_adjusted(scan);
}

Status PodPort::scan_adjusted(const Scan& scan) {
    TRY(leave_scan());
    if (hook_ && scan.in != nullptr) {
        hook_({scan.path, ShiftPurpose::Lead, ShiftLine::kHeldBits});
    }
    if (hook_) {
        hook_({scan.path, ShiftPurpose::Data, scan.out->size()});
    }
    if (scan.in == nullptr) {
        return line_->send(scan.path, *scan.out, scan.end);
    }
    return line_->exchange_adjusted(scan.path, *scan.out, *scan.in, scan.end);
}

// A scan that ends in its own Pause state goes on with the next one, so it is left open.
Status PodPort::scan_exactly(const Scan& scan) {
    if (scan_->open() && scan_->path() != scan.path) {
        TRY(leave_scan());
    }
    const bool parks = scan.end == pause_state(scan.path);
    if (!scan_->open() && !parks) {
        return scan_->whole(scan.path, *scan.out, scan.in, scan.end);
    }
    if (!scan_->open()) {
        scan_->begin(scan.path);
    }
    if (Status done = scan_->piece(*scan.out, scan.in); !done) {
        scan_->abandon();
        return done;
    }
    return parks ? Status() : scan_->finish(scan.end);
}

Status PodPort::flush() {
    Status settled = scan_->open() ? scan_->settle() : Status();
    if (!settled) {
        scan_->abandon();
    }
    TRY(line_->flush());
    return settled;
}

void PodPort::close() noexcept {
    (void)leave_scan();
    (void)line_->flush();
}

Status PodPort::run(StableState state, uint64_t clocks, std::chrono::nanoseconds at_least) {
    return told(do_run(state, clocks, at_least),
                [&](PortWatcher& watcher) { return watcher.ran(state, clocks, at_least); });
}

Status PodPort::do_run(StableState state, uint64_t clocks, std::chrono::nanoseconds at_least) {
    TRY(can_run(state, clocks, ClockLine::Tck));
    const bool rests = scan_->open() && state == pause_state(scan_->path());
    if (!rests && (scan_->open() || line_->state() != state)) {
        TRY(do_move(state));
    }
    const auto start = std::chrono::steady_clock::now();
    uint64_t passes = (clocks + kIdleClocks - 1) / kIdleClocks;
    while (passes != 0) {
        const uint64_t now = std::min(passes, kIdlePassesAtOnce);
        TRY(do_move_via_idle(StableState::Idle, static_cast<uint32_t>(now)));
        passes -= now;
    }
    TRY(flush());
    sleep_unless_interrupted(start + at_least - std::chrono::steady_clock::now());
    return check_interrupt();
}

Status PodPort::set_trst(TrstLevel level) {
    TRY(can_set_trst(level));
    bool released = false;
    TRY(pod_->run("reading TRSTn", &JSC_Interface::StatusTrstn, &released));
    if (!released) {
        TRY(pod_->run("releasing TRSTn", &JSC_Interface::ModifyTrstn, eJSC_JTAG_PIN_SET_LEVEL, 1U,
                      0U));
    }
    return told({}, [level](PortWatcher& watcher) { return watcher.set_trst(level); });
}

Result<std::vector<ResetLogEntry>> PodPort::reset_controller(const ResetRequest& request) {
    std::vector<ResetLogEntry> log = TRY(reset(*pod_, request));
    if (request.trst) {
        TRY(told({}, [](PortWatcher& watcher) { return watcher.pulsed_trst(); }));
    }
    if (request.hard) {
        TRY(tell("a pulse of the pod's reset line to the target"));
    }
    if (!request.hidden) {
        TRY(told({}, [](PortWatcher& watcher) { return watcher.was_reset(); }));
    }
    return log;
}

Status PodPort::pulse_trst() {
    TRY(leave_scan());
    scan_->note_reset();
    line_->forget_state();
    return reset_controller({.trst = true}).map([](const auto&) { return Done{}; });
}

Status PodPort::pulse_reset() {
    TRY(leave_scan());
    TRY(flush());
    line_->forget_state();
    return reset_controller({.hard = true, .hidden = true}).map([](const auto&) { return Done{}; });
}

ClockSetting PodPort::setting_at_most(std::optional<double> hertz) const {
    const ClockSetting configured = clock_.setting(configured_);
    return !hertz || static_cast<double>(clock_.hertz(configured)) <= *hertz
               ? configured
               : clock_.at_most(*hertz).value_or(configured);
}

double PodPort::hertz_at_most(std::optional<double> hertz) const {
    return static_cast<double>(clock_.hertz(setting_at_most(hertz)));
}

Status PodPort::set_max_frequency(std::optional<double> hertz) {
    TRY(can_set_max_frequency(hertz));
    return set_clock(setting_at_most(hertz));
}

Status PodPort::set_clock(const ClockSetting& setting) {
    if (setting == setting_) {
        return {};
    }
    TRY(leave_scan());
    TRY(flush());
    setting_ = setting;
    return told(reconnect(), [this](PortWatcher& watcher) {
        return watcher.set_clock(static_cast<double>(hertz()));
    });
}

Status PodPort::reconnect() {
    KeyStore keys = configured_;
    clock_.apply(setting_, keys);
    scan_->abandon();
    line_->forget_state();
    TRY(pod_->reconnect(std::move(keys)));
    (void)TRY(ask_state());
    return {};
}

Status PodPort::renew() {
    (void)leave_scan();
    scan_->abandon();
    line_->forget_state();
    mode_ = ReceiveMode::Exact;
    TRY(set_max_frequency(std::nullopt));
    return ask_state().map([](const auto&) { return Done(); });
}

Result<StableState> PodPort::ask_state() {
    if (scan_->open()) {
        TRY(scan_->settle());
    }
    const StableState state = TRY(line_->ask_state());
    TRY(told({}, [state](PortWatcher& watcher) { return watcher.found(state); }));
    return state;
}

} // namespace talvor
