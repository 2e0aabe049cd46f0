// The controller's data words: sending, receiving, and the waits between them.
#include "podsim/model/controller.h"

#include <algorithm>
#include <string>
#include <utility>

namespace talvor::podsim {

bool Controller::waits_by_itself() const {
    return pod_can_wait_for_buffers(settings_.revision) &&
           (registers_[TBC_PORT_POD_TIMING] & POD_TIMING_HOST_WAITS) == 0;
}

// Lets the scan run until `words` received words stand in the buffer.
Status Controller::make_received(size_t words) {
    if (engine_.received() >= words) {
        return {};
    }
    // Modelling decision: a scan that only receives runs ahead as far as the buffer goes. The host
    // cannot tell, for it may only take the words it has waited for.
    const uint64_t runnable = engine_.runnable();
    const uint64_t needed = words - engine_.received();
    if (!engine_.receives() || runnable < needed) {
        return failure("wait for a received word that cannot come");
    }
    return engine_.run(engine_.sends() ? needed : runnable);
}

// Lets the scan run until `words` words fit into the send buffer.
Status Controller::make_room(size_t words) {
    if (engine_.sendable() >= words) {
        return {};
    }
    const uint64_t needed = words - engine_.sendable();
    if (engine_.runnable() < needed) {
        return failure("wait for room to send that cannot come");
    }
    return engine_.run(needed);
}

Status Controller::run_to_end() {
    if (!engine_.busy()) {
        return {};
    }
    if (engine_.runnable() < engine_.words_left()) {
        return failure("wait for the end of an operation that lacks data words or room");
    }
    Status status = engine_.run(engine_.words_left());
    announced_ = engine_.received();
    look_at_emu_pins();
    return status;
}

Status Controller::wait_received(size_t words) {
    if (loop_.active()) {
        return loop_.size() != 0 ? Status() : failure("wait for a word of an empty loop-back path");
    }
    // No more than the scan still has to give.
    const uint64_t left = engine_.receives() ? engine_.words_left() : 0;
    words = static_cast<size_t>(std::clamp<uint64_t>(engine_.received() + left, 1, words));
    TRY(make_received(words));
    announced_ = std::max(announced_, words);
    return {};
}

Status Controller::wait_other(uint16_t word) {
    switch (word) {
    case SHM_WAIT_READ_ONE:
        return wait_received(1);
    case SHM_WAIT_READ_MANY:
        return wait_received(kManyReceived);
    case SHM_WAIT_WRITE_ONE:
        return make_room(1);
    case SHM_WAIT_WRITE_MANY:
        return make_room(kSendDepth);
    case SHM_WAIT_DONE:
        return run_to_end();
    default:
        return failure("unknown wait word");
    }
}

Status Controller::write_send(uint16_t word) {
    if (loop_.active()) {
        if (loop_.full()) {
            return mistake("word sent into a full loop-back path, dropped");
        }
        loop_.send(word);
        return {};
    }
    if (!engine_.wants_word()) {
        return mistake("word to send that no operation takes, dropped");
    }
    if (engine_.sendable() == 0) {
        if (!waits_by_itself()) {
            TRY(mistake("word sent without room and without a wait"));
        }
        TRY(make_room(1));
    }
    engine_.send(word);
    return {};
}

Result<uint16_t> Controller::read_receive() {
    if (loop_.active()) {
        return loop_.receive(faults_.loopback);
    }
    if (announced_ == 0 || engine_.received() == 0) {
        const bool nothing_to_come =
            engine_.received() == 0 && !(engine_.busy() && engine_.receives());
        if (nothing_to_come) {
            TRY(mistake("read of the receive buffer with nothing to give"));
            return kOpenPath;
        }
        if (!waits_by_itself()) {
            TRY(mistake("read of the receive buffer without a wait"));
        }
        TRY(make_received(1));
        announced_ = 1;
    }
    --announced_;
    return engine_.receive();
}

// Whether each of many such steps does the same: a word out, a word in, or both, none of them a
// mistake.
bool Controller::may_run(const DataStep& step) const {
    return settings_.takes_runs && !loop_.active() && step.sends == engine_.sends() &&
           step.receives == engine_.receives() && (step.wait != 0 || waits_by_itself()) &&
           !(step.receives && announced_ != 0);
}

std::optional<size_t> Controller::run_steps(const DataStep& step, const uint16_t* words,
                                            size_t count, uint16_t* received) {
    const size_t steps = may_run(step) ? engine_.steps_in_one_piece(count) : 0;
    if (steps != 0 &&
        !done(engine_.run_steps(steps, {words + step.value_index(), step.words()}, received))) {
        return std::nullopt;
    }
    if (step.settles) {
        pass_settle_delays(steps);
    }
    return steps;
}

Status Controller::run_on() {
    TRY(engine_.sync());
    if (const uint64_t words = engine_.runnable(); words != 0) {
        TRY(engine_.run(words));
        TRY(engine_.sync());
    }
    return {};
}

Status Controller::settle() {
    Status settled = run_on();
    announced_ = engine_.received();
    look_at_emu_pins();
    const std::string finding = bus_.target().take_finding();
    return !settled || finding.empty() ? std::move(settled) : mistake(finding);
}

} // namespace talvor::podsim
