// Who owns the pod channel of this machine: the holder of a lock that dies with its process.
#pragma once

#include "common/file_descriptor.h"
#include "common/result.h"

namespace talvor::podsim::proxy {

// The lock on SHM_OWNER_LOCK_PATH. While it is held, every pod channel object that stands in
// /dev/shm is ours or stale. The file goes away with the lock.
class Ownership {
public:
    // Takes the lock, or fails at once when a live proxy holds it; the reason names its process.
    [[nodiscard]] static Result<Ownership> take();

    Ownership(Ownership&&) noexcept = default;
    Ownership& operator=(Ownership&&) = delete;
    ~Ownership();

private:
    explicit Ownership(FileDescriptor fd) noexcept : fd_(std::move(fd)) {}
    FileDescriptor fd_; // holds the lock
};

// Removes what a proxy that is gone left behind: the global mutex, the device table, and of each
// pod that the table names under our own naming its block and its semaphores. Other objects are
// never touched. Only with the ownership taken. A failure names the object that could not be
// removed.
[[nodiscard]] Status remove_stale_objects();

} // namespace talvor::podsim::proxy
