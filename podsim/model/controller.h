// The scan controller of a pod, register by register: what the batches of the host act on.
#pragma once

#include "podsim/model/edge_observer.h"
#include "podsim/model/event_counter.h"
#include "podsim/model/loop_back.h"
#include "podsim/model/scan_engine.h"
#include "podsim/model/status.h"
#include "podsim/model/target.h"
#include "podsim/model/test_bus.h"

#include "jti_typedef.h"
#include "shm_structs.h"
#include "hardware/pod_revision.h"
#include "hardware/tbc_registers.h"

#include <array>
#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <string_view>

namespace podsim {

// What a pod is, fixed while it lives.
struct ControllerSettings {
    std::uint16_t revision = POD_REVISION_2; // pod revision; the high byte is the generation
    std::uint16_t kind = eJTI_CONTROL_ID_TBC;
    unsigned utility_revision = 1;      // 1 to 8
    unsigned return_pipeline_bits = 16; // up to kMaxReturnBits together with the cable's
    unsigned cable_delay_bits = LINK_DELAY_DEFAULT;
    std::uint32_t max_tck_hz = 0; // above it the target's TDO comes one bit late; 0: no limit
    bool strict = false;          // a host's mistake fails the batch instead of a warning
};

// The faults that can be switched while the pod runs.
struct Faults {
    bool power = true; // target power is there
    bool clock = true; // test clock is there
    EmuPins emu;       // false pulls the pin low, whatever the target drives
    LoopFault loopback = LoopFault::None;

    bool operator==(const Faults&) const = default;
};

using WarningSink = std::function<void(std::string_view)>;

// One pod's controller with its pod registers, and the target behind it.
//
// write, read and wait are the words of a batch. Each returns success or, for a failed batch, the
// reason; a word that fails has changed nothing, except when the target itself failed in the middle
// of an operation. All calls come from one thread, save request_stop.
class Controller {
public:
    // Powers the pod on. `target` must outlive the controller.
    Controller(const ControllerSettings& settings, Target& target, WarningSink warn = {});

    // Writes a register. `port` is 0 to 31.
    Status write(std::uint16_t port, std::uint16_t value) {
        if (port == TBC_PORT_SEND && !loop_.active() && engine_.wants_word() &&
            engine_.sendable() != 0) {
            engine_.send(value);
            return {};
        }
        return write_other(port, value);
    }
    // Reads a register. `port` is 0 to 31.
    ReadResult read(std::uint16_t port) {
        if (port == TBC_PORT_RECEIVE && announced_ != 0 && engine_.received() != 0 &&
            !loop_.active()) {
            --announced_;
            return engine_.receive();
        }
        return read_other(port);
    }
    // Carries out a wait word (0x8012, 0x8412, 0x8812, 0x8C12, 0x9011); fails for any other word,
    // and for a condition that cannot come true.
    Status wait(std::uint16_t word) {
        if (word == SHM_WAIT_READ_ONE && engine_.received() != 0 && !loop_.active()) {
            announced_ = announced_ != 0 ? announced_ : 1;
            return {};
        }
        return wait_other(word);
    }
    // At the end of each batch: the operation in progress runs on as far as its data allows.
    Status settle();

    // A host attaches: what an earlier host left half done (an operation in progress, buffered
    // words) is abandoned. Registers and TAP state stay.
    Status attach();
    // Command 2: the pod's support register.
    Status write_support(std::uint16_t value);

    // Switches faults. Power that comes back finds a target as after power-on.
    Status set_faults(const Faults& faults);
    const Faults& faults() const { return faults_; }

    // At most one observer; null takes it away. It must outlive its time here. Call it between
    // batches.
    void observe(EdgeObserver* observer);
    // From any thread or signal handler: a running scan fails soon, and every later one, so that a
    // worker can end in the middle of a batch.
    void request_stop() { stop_.store(true, std::memory_order_relaxed); }

    // For status reports and tests. A scan in progress may be up to four words behind here.
    TapState tap_state() const { return bus_.state(); }
    std::uint64_t time_ns() const { return bus_.time_ns(); }
    std::uint32_t tck_hz() const { return bus_.tck_hz(); }
    bool busy() const { return engine_.busy(); }
    EmuPins emu_levels() const;
    bool condition_latch() const { return condition_; }
    bool target_reset() const { return (support_ & SUPPORT_RESET) != 0; }
    const ControllerSettings& settings() const { return settings_; }

private:
    // Writes.
    Status write_other(std::uint16_t port, std::uint16_t value);
    Status write_register(std::uint16_t port, std::uint16_t value);
    Status write_send(std::uint16_t word);
    Status write_pod_control(std::uint16_t value);
    Status write_control(std::uint16_t value);
    void write_command(std::uint16_t value);
    // Reads.
    ReadResult read_other(std::uint16_t port);
    ReadResult read_receive();
    std::uint16_t read_register(std::uint16_t port) const;
    std::uint16_t read_status1() const;
    std::uint16_t read_support() const;
    // Operations.
    Status run_operation();
    Status finish_previous();
    Status go_to(std::uint16_t operation);
    Status start_scan(std::uint16_t operation);
    Status reset();
    // Data and waits.
    Status wait_other(std::uint16_t word);
    Status wait_received(std::size_t words);
    Status make_received(std::size_t words);
    Status make_room(std::size_t words);
    Status run_to_end();
    bool waits_by_itself() const;
    bool port_exists(std::uint16_t port) const;
    unsigned scan_return_delay() const;
    void look_at_emu_pins();
    // A host's mistake: a failure when strict, else a warning and success.
    Status mistake(std::string text) const;
    void warn(std::string_view text) const;

    ControllerSettings settings_;
    WarningSink warning_;
    std::atomic<bool> stop_{false};
    TestBus bus_;
    ScanEngine engine_{bus_, stop_};
    LoopBack loop_;
    EventCounter counter_;
    Faults faults_;
    EmuPins emu_; // the levels that were looked at last
    std::array<std::uint16_t, TBC_EXTENDED_PORTS> registers_{};
    std::uint16_t support_ = 0; // the bits of the support register that the host writes
    std::size_t announced_ = 0; // received words that the host has waited for
    bool condition_ = true;     // the condition latch
    bool version_selected_ = false;
};

} // namespace podsim
