#include "podsim/proxy/device_table.h"

#include "podsim/proxy/names.h"

#include <algorithm>
#include <chrono>
#include <cstring>

namespace talvor::podsim::proxy {
namespace {

// A host holds the mutex for a few system calls. One that takes longer has died with it.
constexpr std::chrono::milliseconds kMutexPatience{500};

uint32_t records_in_use(const gbl_shm& table) {
    uint32_t count = SHM_DEVICE_RECORDS;
    while (count > 0 && table.devs[count - 1].recUsed == 0) {
        --count;
    }
    return count;
}

void store_used(gbl_shm_record& record, uint16_t value) {
    __atomic_store_n(&record.recUsed, value, __ATOMIC_RELEASE);
}

} // namespace

Result<DeviceTable> DeviceTable::create() {
    Semaphore mutex = TRY(Semaphore::create(SHM_GLOBAL_MUTEX_NAME, 1));
    SharedMemory memory = TRY(SharedMemory::create(SHM_DEVICE_TABLE_NAME, sizeof(gbl_shm)));
    return DeviceTable(std::move(mutex), std::move(memory));
}

// The change is made even when a dead host keeps the mutex; the mutex is free afterwards.
template <class Change>
void DeviceTable::under_mutex(Change change) {
    mutex_.take_within(kMutexPatience);
    change(table());
    mutex_.post();
}

void DeviceTable::publish(size_t index, const PodRecord& pod) {
    under_mutex([&](gbl_shm& table) {
        gbl_shm_record& record = table.devs[index];
        store_used(record, 0);
        record.devRev = pod.revision;
        record.devSN = pod.serial;
        record.nBus = pod.bus;
        record.nDev = pod.device;
        const std::string name = block_name(pod.serial);
        std::memset(record.lcl_shm_name, 0, sizeof(record.lcl_shm_name));
        std::memcpy(record.lcl_shm_name, name.data(), name.size());
        table.max_instances = std::max(table.max_instances, static_cast<uint32_t>(index + 1));
        store_used(record, 1);
    });
}

void DeviceTable::withdraw(size_t index) {
    under_mutex([&](gbl_shm& table) {
        store_used(table.devs[index], 0);
        table.max_instances = records_in_use(table);
    });
}

} // namespace talvor::podsim::proxy
