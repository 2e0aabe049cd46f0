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
// them while it goes on failing. A worker that others have displaced while it offered them the
// processor looks without offering it for many exchanges: each such offer may cost a whole time
// slice of theirs.
class SpinPolicy {
public:
    enum class Depth : uint8_t {
        None,  // sleep at once
        Short, // without an offer of the processor
        Full
    };
    enum class End : uint8_t {
        Answered, // the batch came while the worker looked
        InVain,   // it did not
        Displaced // others ran on this processor meanwhile
    };

    // For the next batch; asked once for each.
    Depth next() {
        const bool may_offer = exchanges_without_offer_ == 0;
        exchanges_without_offer_ -= may_offer ? 0 : 1;
        if (exchanges_to_skip_ != 0) {
            --exchanges_to_skip_;
            return Depth::None;
        }
        return may_offer ? Depth::Full : Depth::Short;
    }
    // How the look ended that was not None.
    void ended(End end);

private:
    static constexpr uint32_t kFirstPause = 4;
    static constexpr uint32_t kLongestPause = 1024;
    static constexpr uint32_t kFewestWithoutOffer = 256;
    static constexpr uint32_t kMostWithoutOffer = 16'384;
    // A host that pauses now and then is not a slow one; after as many answers in a row the
    // failures are forgotten.
    static constexpr uint32_t kFailuresForgiven = 1;
    static constexpr uint32_t kAnswersThatCount = 64;
    static constexpr uint32_t kAnswersOfAQuietMachine = 4096;

    uint32_t exchanges_to_skip_ = 0;
    uint32_t pause_ = kFirstPause;
    uint32_t exchanges_without_offer_ = 0; // still
    uint32_t next_without_offer_ = kFewestWithoutOffer;
    uint32_t failures_ = 0;      // in a row
    uint32_t answers_ = 0;       // in a row
    uint32_t quiet_answers_ = 0; // since the last displacement, of looks that might offer
};

// The spin of one worker. Used by its thread alone.
class Spin {
public:
    // At most `limit` for each exchange; 0: never.
    explicit Spin(std::chrono::microseconds limit);

    // Looks for a post of `start`, and takes it; false when none came, and the worker should sleep.
    bool take(Semaphore& start);

private:
    SpinPolicy::End look(Semaphore& start, SpinPolicy::Depth depth, bool& taken) const;

    std::chrono::microseconds limit_;
    int first_looks_ = 0; // before others are offered the processor for the first time
    SpinPolicy policy_;
};

} // namespace talvor::podsim::proxy
