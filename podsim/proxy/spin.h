// How a worker looks for the next batch before it sleeps: on the processor, for as long as that is
// answered.
#pragma once

#include "podsim/proxy/semaphore.h"

#include <chrono>
#include <cstdint>

namespace talvor::podsim::proxy {

// How long looking is worth while. A host that sends one batch after the other is met by a worker
// that looks; a host that thinks, or other work that wants the processor, by one that sleeps and is
// woken at once. Looking that failed is tried again after a few exchanges, and after ever more of
// them while it goes on failing.
//
// A look never offers the processor to others: such an offer may cost a whole time slice of theirs.
// So where the host itself needs this processor to send its next batch, every look is in vain, and
// hosts, which do not sleep, never leave it. That shows: the batch comes sooner while the worker
// sleeps than looks take. Then the worker goes to another processor.
class SpinPolicy {
public:
    enum class End : uint8_t {
        Answered, // the batch came while the worker looked
        InVain,   // it did not
        Displaced // nor this, and others ran on this processor meanwhile
    };

    // Whether to look for the next batch; asked once for each.
    bool next() {
        looks_ = exchanges_to_skip_ == 0;
        exchanges_to_skip_ -= looks_ ? 0 : 1;
        return looks_;
    }
    // How the look ended.
    void ended(End end);
    // How long the worker slept for the batch, and how long it looks at most. True when it is to
    // try another processor.
    [[nodiscard]] bool slept(std::chrono::nanoseconds time, std::chrono::nanoseconds look);

private:
    static constexpr uint32_t kFirstPause = 4;
    static constexpr uint32_t kLongestPause = 1024;
    // A host that pauses now and then is not a slow one; after as many answers in a row the
    // failures are forgotten.
    static constexpr uint32_t kFailuresForgiven = 1;
    static constexpr uint32_t kAnswersThatCount = 64;
    // Sleeps in a row that were too short for a host elsewhere, and how many sleeps pass between
    // two changes of the processor.
    static constexpr uint32_t kShortSleepsThatCount = 3;
    static constexpr uint32_t kFewestBetweenMoves = 64;
    static constexpr uint32_t kMostBetweenMoves = 65'536;

    bool looks_ = true;
    End last_end_ = End::Answered;
    uint32_t exchanges_to_skip_ = 0;
    uint32_t pause_ = kFirstPause;
    uint32_t failures_ = 0;     // in a row
    uint32_t answers_ = 0;      // in a row
    uint32_t short_sleeps_ = 0; // in a row
    uint32_t sleeps_to_move_ = 0;
    uint32_t between_moves_ = kFewestBetweenMoves;
};

// The spin of one worker. Used by its thread alone.
class Spin {
public:
    // At most `limit` for each exchange; 0: never.
    explicit Spin(std::chrono::microseconds limit);

    // Looks for a post of `start`, and takes it; false when none came, and the worker should sleep.
    bool take(Semaphore& start);
    // The worker has slept until the post came. May take this thread to another processor.
    void slept(std::chrono::nanoseconds time);

private:
    SpinPolicy::End look(Semaphore& start, bool& taken) const;

    std::chrono::microseconds limit_;
    int first_looks_ = 0; // before the clock is looked at for the first time
    SpinPolicy policy_;
};

} // namespace talvor::podsim::proxy
