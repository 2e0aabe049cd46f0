// A target in another program, where each answer that is waited for costs a round trip.
#pragma once

#include "podsim/model/target.h"

namespace talvor::podsim {

// Nothing that a batch does to the target depends on what the target answers in it. So a batch can
// be gone through twice: once to send everything, and once more to take what has come back.
//
//     target.send_ahead();        // calls go on their way, nothing is waited for
//     ... the calls of a batch
//     target.repeat();
//     ... the same calls, which reach nobody and give what was answered
//     TRY(target.end_repeat());   // from here on calls do what they say, as at first
class RemoteTarget : public Target {
public:
    // TDO is 0 in calls from now on. One fails when the connection does, and not yet when it only
    // does not answer.
    virtual void send_ahead() = 0;
    // Calls from now on are those that were made since send_ahead(), in the same order. One whose
    // answer does not come fails.
    virtual void repeat() = 0;
    // Waits until the target has seen and answered everything, and drops what was not taken. Fails
    // when it does not answer.
    [[nodiscard]] virtual Status end_repeat() = 0;
    // Instead of all that, where a batch has ended in its middle: gives up the connection, so that
    // every call up to the next power_on() fails.
    virtual void abandon() noexcept = 0;
};

} // namespace talvor::podsim
