// The device table in which hosts find a pod, and the mutex that guards it.
#pragma once

#include "common/result.h"
#include "podsim/proxy/semaphore.h"
#include "podsim/proxy/shared_memory.h"
#include "shm_structs.h"

#include <cstdint>

namespace talvor::podsim::proxy {

// What the table says about a pod.
struct PodRecord {
    uint32_t serial{};
    uint16_t revision{}; // major in the high byte
    uint32_t bus{};
    uint32_t device{};
};

class DeviceTable {
public:
    // Makes the mutex, free, and an empty table.
    [[nodiscard]] static Result<DeviceTable> create();

    // Fills record `index` (below SHM_DEVICE_RECORDS) under the mutex, recUsed last.
    void publish(size_t index, const PodRecord& pod);
    // Takes record `index` out of the table, under the mutex.
    void withdraw(size_t index);

private:
    DeviceTable(Semaphore mutex, SharedMemory memory)
        : mutex_(std::move(mutex)), memory_(std::move(memory)) {}
    template <class Change>
    void under_mutex(Change change);
    gbl_shm& table() const { return *static_cast<gbl_shm*>(memory_.data()); }

    Semaphore mutex_;
    SharedMemory memory_;
};

} // namespace talvor::podsim::proxy
