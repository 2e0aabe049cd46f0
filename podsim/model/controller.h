// The scan controller of a pod, register by register: what the batches of the host act on.
#pragma once

#include "common/result.h"
#include "hardware/pod_revision.h"
#include "hardware/tbc_registers.h"
#include "jti_typedef.h"
#include "podsim/model/data_step.h"
#include "podsim/model/edge_observer.h"
#include "podsim/model/event_counter.h"
#include "podsim/model/loop_back.h"
#include "podsim/model/scan_engine.h"
#include "podsim/model/target.h"
#include "podsim/model/test_bus.h"
#include "shm_structs.h"

#include <array>
#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string_view>

namespace talvor::podsim {

// What a pod is, fixed while it lives.
struct ControllerSettings {
    uint16_t revision = POD_REVISION_2; // pod revision; the high byte is the generation
    uint16_t kind = eJTI_CONTROL_ID_TBC;
    unsigned utility_revision = 1;      // 1 to 8
    unsigned return_pipeline_bits = 16; // up to kMaxReturnBits together with the cable's
    unsigned cable_delay_bits = LINK_DELAY_DEFAULT;
    uint32_t max_tck_hz = 0; // above it the target's TDO comes one bit late; 0: no limit
    bool strict = false;     // a host's mistake fails the batch instead of a warning
    bool takes_runs = true;  // runs of data words in one piece; nobody can tell, save by the speed
};

// The faults that can be switched while the pod runs.
struct Faults {
    bool power = true; // target power is there
    bool clock = true; // test clock is there
    EmuPins emu;       // false pulls the pin low, whatever the target drives
    LoopFault loopback = LoopFault::None;
    Cable cable; // between pod and target

    bool operator==(const Faults&) const = default;
};

using WarningSink = std::function<void(std::string_view)>;

// One pod's controller with its pod registers, and the target behind it.
//
// write, read and wait are the words of a batch. Each says whether it was done; of one that was
// not, which fails the batch, word_error() says why. (A Status for each word costs a fifth of the
// speed.) A word that fails has changed nothing, except when the target itself failed in the middle
// of an operation. All calls come from one thread, save request_stop.
class Controller {
public:
    // Powers the pod on. `target` must outlive the controller.
    Controller(const ControllerSettings& settings, Target& target, WarningSink warn = {});
    Controller(const Controller&) = delete;
    Controller& operator=(const Controller&) = delete;
    ~Controller() = default;
    // Another one that stands where this one stands now, with the same target behind it. It does
    // what this one would do, and says nothing: nobody observes it, its warnings are lost. It stops
    // with this one, which must outlive it.
    [[nodiscard]] Controller scout() const { return Controller(*this, Scout{}); }

    // Writes a register. `port` is 0 to 31.
    [[nodiscard]] bool write(uint16_t port, uint16_t value) {
        if (port == TBC_PORT_SEND && !loop_.active() && engine_.wants_word() &&
            engine_.sendable() != 0) {
            engine_.send(value);
            return true;
        }
        return done(write_other(port, value));
    }
    // Reads a register; nothing when that fails. `port` is 0 to 31.
    [[nodiscard]] std::optional<uint16_t> read(uint16_t port) {
        if (port == TBC_PORT_RECEIVE && announced_ != 0 && !loop_.active()) {
            if (const std::optional<uint16_t> word = engine_.receive_clocked()) {
                --announced_;
                return word;
            }
        }
        return word_of(read_other(port));
    }
    // Carries out a wait word (0x8012, 0x8412, 0x8812, 0x8C12, 0x9011); fails for any other word,
    // and for a condition that cannot come true.
    [[nodiscard]] bool wait(uint16_t word) {
        if (word == SHM_WAIT_READ_ONE && !loop_.active() && word_received()) {
            announced_ = announced_ != 0 ? announced_ : 1;
            return true;
        }
        if (word == SHM_WAIT_WRITE_ONE && room_to_send()) {
            return true;
        }
        return done(wait_other(word));
    }
    // Takes the first of `count` equal steps of a batch in one piece, as far as they can be taken
    // so and hold no mistake, and says how many; the others, the first of which may do more than
    // those, are to be given word by word. Nothing when the target fails. Their words begin at
    // `words`; what they read goes to `received`, a word for each step that receives. Does what the
    // words would have done one by one.
    [[nodiscard]] std::optional<size_t> run_steps(const DataStep& step, const uint16_t* words,
                                                  size_t count, uint16_t* received);
    // Why the last word that failed did.
    [[nodiscard]] const Error& word_error() const { return word_error_; }
    // At the end of each batch: the operation in progress runs on as far as its data allows.
    [[nodiscard]] Status settle();

    // A host attaches: what an earlier host left half done (an operation in progress, buffered
    // words) is abandoned. Registers and TAP state stay.
    [[nodiscard]] Status attach();
    // Command 2: the pod's support register.
    [[nodiscard]] Status write_support(uint16_t value);

    // Switches faults. Power that comes back finds a target as after power-on.
    [[nodiscard]] Status set_faults(const Faults& faults);
    const Faults& faults() const { return faults_; }

    // At most one observer; null takes it away. It must outlive its time here. Call it between
    // batches.
    void observe(EdgeObserver* observer);
    // The target has seen other clocks than this controller has made.
    void lose_step() { bus_.missed(); }
    // From any thread or signal handler: a running scan fails soon, and every later one, so that a
    // worker can end in the middle of a batch.
    void request_stop() { stop_.store(true, std::memory_order_relaxed); }

    // For status reports and tests. A scan in progress may be up to four words behind here.
    TapState tap_state() const { return bus_.state(); }
    uint64_t time_ns() const { return bus_.time_ns(); }
    uint32_t tck_hz() const { return bus_.tck_hz(); }
    bool busy() const { return engine_.busy(); }
    EmuPins emu_levels() const;
    bool condition_latch() const { return condition_; }
    bool target_reset() const { return (support_ & SUPPORT_RESET) != 0; }
    const ControllerSettings& settings() const { return settings_; }

private:
    struct Scout {};
    Controller(const Controller& other, Scout);

    // Whether a received word stands there, or room for one to send, now or once a word has been
    // run that clocks nothing.
    bool word_received() {
        return engine_.received() != 0 ||
               (engine_.sends() && engine_.receives() && engine_.run_into_queue());
    }
    bool room_to_send() { return engine_.sendable() != 0 || engine_.run_into_queue(); }
    // Whether it was done; keeps the error of one that was not.
    bool done(Status status);
    std::optional<uint16_t> word_of(Result<uint16_t> word);
    // Writes.
    [[nodiscard]] Status write_other(uint16_t port, uint16_t value);
    [[nodiscard]] Status write_register(uint16_t port, uint16_t value);
    [[nodiscard]] Status write_send(uint16_t word);
    [[nodiscard]] Status write_pod_control(uint16_t value);
    [[nodiscard]] Status write_control(uint16_t value);
    void write_command(uint16_t value);
    void pass_settle_delays(uint64_t count);
    // Reads.
    [[nodiscard]] Result<uint16_t> read_other(uint16_t port);
    [[nodiscard]] Result<uint16_t> read_receive();
    uint16_t read_register(uint16_t port) const;
    uint16_t read_status1() const;
    uint16_t read_support() const;
    // Operations.
    [[nodiscard]] Status run_operation();
    [[nodiscard]] Status finish_previous();
    [[nodiscard]] Status go_to(uint16_t operation);
    [[nodiscard]] Status start_scan(uint16_t operation);
    [[nodiscard]] Status reset();
    // Data and waits.
    [[nodiscard]] Status wait_other(uint16_t word);
    [[nodiscard]] Status wait_received(size_t words);
    [[nodiscard]] Status make_received(size_t words);
    [[nodiscard]] Status make_room(size_t words);
    [[nodiscard]] Status run_to_end();
    [[nodiscard]] Status run_on();
    bool may_run(const DataStep& step) const;
    bool waits_by_itself() const;
    bool port_exists(uint16_t port) const;
    unsigned kept_bits() const;
    unsigned scan_return_delay() const;
    void look_at_emu_pins();
    // A host's mistake: a failure when strict, else a warning and success.
    [[nodiscard]] Status mistake(std::string text) const;
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
    std::array<uint16_t, TBC_EXTENDED_PORTS> registers_{};
    uint16_t support_ = 0;  // the bits of the support register that the host writes
    size_t announced_ = 0;  // received words that the host has waited for
    bool condition_ = true; // the condition latch
    bool version_selected_ = false;
    Error word_error_;
};

} // namespace talvor::podsim
