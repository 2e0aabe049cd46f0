// The lock that hosts which know of each other take around their work with a pod, so that they do
// not destroy each other's batches. It is advisory: a host that does not take it is not kept out.
#pragma once

#include "common/file_descriptor.h"
#include "common/result.h"
#include "host/driver/device_table.h"

#include <chrono>
#include <functional>
#include <string>

namespace talvor {

struct PodLockOptions {
    std::chrono::milliseconds wait{0}; // how long to wait for a pod that is in use
    bool share = false; // go on beside whoever uses the pod, once the waiting is over
    // Told once who uses the pod, in words, when waiting begins; may be empty.
    std::function<void(const std::string&)> on_wait{};
};

// An exclusive flock(2) on the pod's block, on a descriptor of its own that closes on exec. The
// block is the same object for all hosts of the proxy, whatever namespace they live in; nothing is
// added to /dev/shm; and the kernel takes the lock back when the process ends, however it ends.
class PodLock {
public:
    // Locks the pod of `record`. While it waits it looks again a few times a second, at whatever
    // block has the name then: a proxy may be started anew meanwhile. Errors (ErrorKind::Refused):
    // another host uses the pod, named by command, process and start; a signal asked for the end
    // (see check_interrupt). (ErrorKind::Pod): there is no such block, or it cannot be locked.
    [[nodiscard]] static Result<PodLock> take(const PodRecord& record,
                                              const PodLockOptions& options);

    // Whether others had the pod meanwhile: what was known of it before may be out of date.
    [[nodiscard]] bool waited() const noexcept { return waited_; }
    // Who uses the pod, in words, where options.share has us go on beside; "" when the lock is
    // ours.
    [[nodiscard]] const std::string& shared_with() const noexcept { return shared_with_; }

private:
    FileDescriptor file_; // its closing is the unlocking
    bool waited_ = false;
    std::string shared_with_;
};

} // namespace talvor
