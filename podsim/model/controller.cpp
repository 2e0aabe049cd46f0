#include "podsim/model/controller.h"

#include "podsim/model/operation.h"

#include <string>
#include <utility>

namespace talvor::podsim {
namespace {

// Modelling decision: a settle delay takes this long, and no test clock.
constexpr uint64_t kSettleNs = 1000;

// Power-on values that are not 0.
constexpr uint16_t kOutputAtPowerOn = TBC_OUTPUT_CONNECTED;
constexpr uint16_t kPodControlAtPowerOn =
    TBC_POD_EVENT3 | TBC_POD_EVENT2 | TBC_POD_TDO_EDGE | TBC_POD_CLEAR;

// Modelling decision: a reset of the controller leaves the pod's own registers 25 to 27 alone. The
// host programs clock and timing once, when it connects, and resets the controller afterwards.
bool is_pod_register(size_t port) {
    return port == TBC_PORT_POD_PINS || port == TBC_PORT_POD_CLOCK || port == TBC_PORT_POD_TIMING;
}

bool is_read_only(uint16_t port) {
    return (port >= TBC_PORT_STATUS1 && port <= TBC_PORT_RECEIVE) || port == TBC_PORT_SUPPORT;
}

} // namespace

Controller::Controller(const ControllerSettings& settings, Target& target, WarningSink warn)
    : settings_(settings), warning_(std::move(warn)), bus_(target) {
    registers_[TBC_PORT_OUTPUT] = kOutputAtPowerOn;
    registers_[TBC_PORT_POD_CONTROL] = kPodControlAtPowerOn;
    bus_.set_period(tck_period_ns(settings_.revision, 0));
}

Controller::Controller(const Controller& other, Scout)
    : settings_(other.settings_), bus_(other.bus_), engine_(other.engine_, bus_),
      loop_(other.loop_), counter_(other.counter_), faults_(other.faults_), emu_(other.emu_),
      registers_(other.registers_), support_(other.support_), announced_(other.announced_),
      condition_(other.condition_), version_selected_(other.version_selected_) {
    bus_.observe(nullptr);
}

bool Controller::done(Status status) {
    if (!status) [[unlikely]] {
        word_error_ = std::move(status).error();
        return false;
    }
    return true;
}

std::optional<uint16_t> Controller::word_of(Result<uint16_t> word) {
    if (!word) [[unlikely]] {
        word_error_ = std::move(word).error();
        return std::nullopt;
    }
    return *word;
}

// ---- writes -----------------------------------------------------------------------------------

Status Controller::write_other(uint16_t port, uint16_t value) {
    if (port == TBC_PORT_SEND) {
        return write_send(value);
    }
    if (port >= TBC_EXTENDED_PORTS) {
        return failure("write of port " + std::to_string(port) + ", which does not exist");
    }
    if (!port_exists(port) || is_read_only(port)) {
        warn("write of register " + std::to_string(port) + " dropped: it is " +
             (is_read_only(port) ? "read-only" : "not there on this kind of controller"));
        return {};
    }
    TRY(engine_.sync());
    TRY(write_register(port, value));
    // A reset of the controller has just given every register its power-on value.
    if (port != TBC_PORT_CONTROL || (value & TBC_CONTROL_RESET) != TBC_CONTROL_RESET) {
        registers_[port] = value;
    }
    return {};
}

Status Controller::write_register(uint16_t port, uint16_t value) {
    switch (port) {
    case TBC_PORT_COMMAND:
        write_command(value);
        break;
    case TBC_PORT_OUTPUT:
        bus_.set_connected((value & TBC_OUTPUT_CONNECTED) != 0);
        break;
    case TBC_PORT_CLOCK_OUT:
        bus_.set_clock_output((value & TBC_CLOCK_OUT_OFF) == 0);
        break;
    case TBC_PORT_POD_CONTROL:
        return write_pod_control(value);
    case TBC_PORT_EVENT_CONTROL:
        counter_.write_control(value);
        break;
    case TBC_PORT_CONTROL:
        return write_control(value);
    case TBC_PORT_LIMIT_LOW:
        counter_.write_limit_low(value);
        break;
    case TBC_PORT_LIMIT_HIGH:
        counter_.write_limit_high(value);
        break;
    case TBC_PORT_STATUS0:
        pass_settle_delays(1);
        break;
    case TBC_PORT_POD_CLOCK:
        bus_.set_period(tck_period_ns(settings_.revision, value));
        break;
    default:
        break;
    }
    return {};
}

void Controller::pass_settle_delays(uint64_t count) {
    bus_.pass_time(count * kSettleNs);
}

void Controller::write_command(uint16_t value) {
    if ((value & TBC_COMMAND_RELEASE) != 0) {
        version_selected_ = false;
        loop_.leave();
        counter_.release();
    }
    if ((value & TBC_COMMAND_VERSION) != 0) {
        version_selected_ = true;
    }
    if ((value & TBC_COMMAND_LATCH) != 0) {
        counter_.latch();
    }
    if ((value & TBC_COMMAND_LOOPBACK) != 0) {
        loop_.enter();
    }
}

Status Controller::write_pod_control(uint16_t value) {
    const bool was = (registers_[TBC_PORT_POD_CONTROL] & TBC_POD_CLEAR) != 0;
    const bool is = (value & TBC_POD_CLEAR) != 0;
    if (was && !is) {
        // The scan in progress has lost its Shift state.
        engine_.abandon();
        return bus_.pulse_trst();
    }
    if (!was && is) {
        condition_ = !faults_.power;
    }
    return {};
}

Status Controller::write_control(uint16_t value) {
    if ((value & TBC_CONTROL_RESET) == TBC_CONTROL_RESET) {
        return reset();
    }
    switch (value) {
    case TBC_CONTROL_RUN:
        return run_operation();
    case TBC_CONTROL_EMPTY:
        engine_.empty_buffers();
        announced_ = 0;
        loop_.clear();
        break;
    case TBC_CONTROL_SHORT:
        // Modelling decision: this word, with which the host begins to set the registers of a
        // controller to their defaults, clears the bit count. A host that has just attached
        // believes registers 0 to 15 to be 0 and sends no write that would not change them; a count
        // left behind by an earlier host would spoil its first scans.
        registers_[TBC_PORT_COUNT_LOW] = 0;
        registers_[TBC_PORT_COUNT_HIGH] = 0;
        break;
    default:
        break;
    }
    return {};
}

// Modelling decision: the reset ends operation, buffers, loop-back, version select and event count,
// and drives the TAP to Test-Logic-Reset by five ones, where the outputs are connected.
Status Controller::reset() {
    engine_.abandon();
    engine_.empty_buffers();
    announced_ = 0;
    loop_.leave();
    counter_ = EventCounter{};
    version_selected_ = false;
    for (size_t port = 0; port < registers_.size(); ++port) {
        if (port != TBC_PORT_OUTPUT && !is_pod_register(port)) {
            registers_[port] = 0;
        }
    }
    registers_[TBC_PORT_POD_CONTROL] = kPodControlAtPowerOn;
    bus_.set_clock_output(true);
    return engine_.move(kResetPath);
}

// ---- reads ------------------------------------------------------------------------------------

Result<uint16_t> Controller::read_other(uint16_t port) {
    if (port == TBC_PORT_RECEIVE) {
        return read_receive();
    }
    if (port >= TBC_EXTENDED_PORTS) {
        return failure("read of port " + std::to_string(port) + ", which does not exist");
    }
    if (!port_exists(port)) {
        warn("read of register " + std::to_string(port) +
             ", which is not there on this kind of controller");
        return kOpenPath;
    }
    TRY(engine_.sync());
    if (port == TBC_PORT_STATUS1) {
        look_at_emu_pins();
    }
    return read_register(port);
}

uint16_t Controller::read_register(uint16_t port) const {
    switch (port) {
    case TBC_PORT_STATUS0:
        return 0;
    case TBC_PORT_STATUS1:
        return read_status1();
    case TBC_PORT_TAP_STATE:
        return code_of(bus_.state());
    case TBC_PORT_VERSION:
        return version_selected_ ? settings_.kind & TBC_VERSION_MASK : 0;
    case TBC_PORT_EVENT_LOW:
        return counter_.low();
    case TBC_PORT_EVENT_HIGH:
        return counter_.high();
    case TBC_PORT_SUPPORT:
        return read_support();
    default:
        return registers_[port];
    }
}

uint16_t Controller::read_status1() const {
    unsigned value = TBC_STATUS1_ALIVE;
    value |= emu_.emu0 ? TBC_STATUS1_EMU0 : 0;
    value |= emu_.emu1 ? TBC_STATUS1_EMU1 : 0;
    return static_cast<uint16_t>(value);
}

uint16_t Controller::read_support() const {
    unsigned value = support_ & SUPPORT_RESET;
    value |= condition_ ? SUPPORT_CONDITION : 0;
    value |= faults_.clock ? 0 : SUPPORT_CLOCK_LOST;
    value |= ~((settings_.utility_revision - 1) << SUPPORT_REVISION_SHIFT) & SUPPORT_REVISION_MASK;
    return static_cast<uint16_t>(value);
}

bool Controller::port_exists(uint16_t port) const {
    return port < TBC_BASIC_PORTS || port == TBC_PORT_SUPPORT || is_pod_register(port) ||
           settings_.kind == eJTI_CONTROL_ID_EXL || settings_.kind == eJTI_CONTROL_ID_DPM;
}

// ---- operations -------------------------------------------------------------------------------

Status Controller::run_operation() {
    TRY(finish_previous());
    const uint16_t operation = registers_[TBC_PORT_OPERATION];
    Status status = is_scan(operation) ? start_scan(operation) : go_to(operation);
    look_at_emu_pins();
    return status;
}

// Modelling decision: an operation that is started while another is in progress is a host's
// mistake. Without strict mode the earlier one runs to its end, or is dropped where it cannot.
Status Controller::finish_previous() {
    if (!engine_.busy()) {
        return {};
    }
    TRY(mistake("operation started while another is in progress"));
    if (engine_.runnable() == engine_.words_left()) {
        return engine_.run(engine_.words_left());
    }
    engine_.abandon();
    return {};
}

Status Controller::go_to(uint16_t operation) {
    const bool directly = (operation & TBC_TRANSIT_SCAN) != kTransitViaIdle;
    return directly && state_of(operation) == TapState::TestLogicReset
               ? engine_.move_to_reset()
               : engine_.move(go_to_path(bus_.state(), operation));
}

// The longest delay that a scan with the same pod and cable can have.
unsigned Controller::kept_bits() const {
    constexpr unsigned kLate = 1;
    return return_delay(settings_.return_pipeline_bits, settings_.cable_delay_bits, kLate, 0);
}

unsigned Controller::scan_return_delay() const {
    // Modelling decision: a target clocked too fast gives its TDO one bit late.
    const bool too_fast = settings_.max_tck_hz != 0 && bus_.tck_hz() > settings_.max_tck_hz;
    return return_delay(settings_.return_pipeline_bits, settings_.cable_delay_bits,
                        too_fast ? 1 : 0, registers_[TBC_PORT_CONFIG] & TBC_CONFIG_LINK_MASK);
}

Status Controller::start_scan(uint16_t operation) {
    const unsigned config = registers_[TBC_PORT_CONFIG];
    const uint64_t count_minus_one =
        uint64_t{registers_[TBC_PORT_COUNT_HIGH]} << 16 | registers_[TBC_PORT_COUNT_LOW];
    return engine_.start({
        .instruction_path = (operation & TBC_STATE_IR_PATH) != 0,
        .end = state_of(operation),
        .bits = count_minus_one + 1,
        .send = (config & TBC_SCAN_SEND) == TBC_SCAN_SEND,
        .receive = (config & TBC_OPTION_RECEIVE) != 0,
        .level = (config & TBC_OPTION_ONES) != 0,
        .return_delay = scan_return_delay(),
        .kept_bits = kept_bits(),
    });
}

// ---- the pod around the controller ------------------------------------------------------------

Status Controller::attach() {
    Status status = engine_.sync();
    engine_.abandon();
    engine_.empty_buffers();
    announced_ = 0;
    return status;
}

// Modelling decision: asserting the target reset resets the controller as well. The host counts on
// it: it takes every register for 0 afterwards, moves no TAP to Test-Logic-Reset that it has reset
// so, and has no other way out of an operation that lacks its data.
Status Controller::write_support(uint16_t value) {
    const bool was = target_reset();
    support_ = value & SUPPORT_RESET;
    const bool is = target_reset();
    if (was == is) {
        return {};
    }
    TRY(engine_.sync());
    TRY(bus_.set_target_reset(is));
    return is ? reset() : Status{};
}

Status Controller::set_faults(const Faults& faults) {
    Status synced = engine_.sync();
    faults_ = faults;
    bus_.set_clock_present(faults.clock);
    if (!faults.power) {
        condition_ = true;
    }
    Status status = bus_.set_power(faults.power);
    if (Status joined = bus_.set_cable(faults.cable); status) {
        status = std::move(joined);
    }
    look_at_emu_pins();
    return synced ? std::move(status) : std::move(synced);
}

EmuPins Controller::emu_levels() const {
    return emu_;
}

void Controller::look_at_emu_pins() {
    const EmuPins driven = bus_.target().emu_pins();
    const EmuPins now{driven.emu0 && faults_.emu.emu0, driven.emu1 && faults_.emu.emu1};
    if (now == emu_) {
        return;
    }
    counter_.levels(emu_, now);
    emu_ = now;
    if (bus_.observer() != nullptr) {
        bus_.observer()->emu(bus_.time_ns(), now);
    }
}

void Controller::observe(EdgeObserver* observer) {
    bus_.observe(observer);
    engine_.set_prompt(observer != nullptr);
}

Status Controller::mistake(std::string text) const {
    if (settings_.strict) {
        return failure(std::move(text));
    }
    warn(text);
    return {};
}

void Controller::warn(std::string_view text) const {
    if (warning_) {
        warning_(text);
    }
}

} // namespace talvor::podsim
