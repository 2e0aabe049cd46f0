// What stands behind a pod's block: the pod itself.
#pragma once

#include "podsim/batch/decoder.h"

#include <cstdint>
#include <span>
#include <string_view>

namespace talvor::podsim::proxy {

// The four commands of the channel. All calls come from the pod's worker thread, one at a time,
// save request_stop, which comes from another thread while a call may be running.
class Backend {
public:
    virtual ~Backend() = default;

    // Commands 0 and 1: a host attaches, a host leaves.
    virtual void attach() = 0;
    virtual void detach() = 0;
    // Command 2. A failed status refuses the write.
    [[nodiscard]] virtual Status write_support(uint16_t value) = 0;
    // Command 3. Words read go to `in`, from its start.
    virtual batch::Outcome execute(const batch::Batch& batch, std::span<uint16_t> in) = 0;
    // The running call, and each later one, ends soon, with a failure where it was not finished.
    virtual void request_stop() = 0;
    // Something about the exchange that the pod's log should hold.
    virtual void note(std::string_view text) = 0;
};

} // namespace talvor::podsim::proxy
