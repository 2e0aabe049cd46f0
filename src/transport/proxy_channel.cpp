#include "transport/proxy_channel.h"

#include "sys/check.h"
#include "sys/os.h"
#include "transport/post_wait.h"
#include "transport/read_list.h"
#include "transport/shared_field.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/mman.h>

namespace {

// How an open ends early: with a success that hosts rely on, or without a pod.
constexpr int32_t kNothingAttached = eJTI_ERROR_NONE;
constexpr int32_t kNoPod = eJTI_ERROR_TRANSPORT;

constexpr int32_t kNoRecord = -1;

// ---- the proxy-wide mutex ----

timespec time_of_day_in(uint32_t delay_ms) {
    timespec time{};
    os_calls.clock_gettime(CLOCK_REALTIME, &time);
    const long ns = time.tv_nsec + static_cast<long>(delay_ms % 1000) * 1'000'000;
    time.tv_sec += delay_ms / 1000 + (ns >= 1'000'000'000 ? 1 : 0);
    time.tv_nsec = ns % 1'000'000'000;
    return time;
}

// A host that was killed while it held the mutex never lets it go, so patience counts here too.
// Without it: no limit.
sem_t* lock_proxy(uint32_t patience_ms) {
    sem_t* const mutex = os_calls.sem_open(SHM_GLOBAL_MUTEX_NAME, 0);
    RETURN_IF(mutex == SEM_FAILED, nullptr);
    const timespec deadline = patience_ms == 0 ? timespec{} : time_of_day_in(patience_ms);
    while ((patience_ms == 0 ? os_calls.sem_wait(mutex)
                             : os_calls.sem_timedwait(mutex, &deadline)) != 0) {
        if (errno != EINTR) {
            os_calls.sem_close(mutex);
            return nullptr;
        }
    }
    return mutex;
}

void unlock_proxy(sem_t* mutex) {
    os_calls.sem_post(mutex);
    os_calls.sem_close(mutex);
}

// ---- shared objects of a fixed size ----

struct MappedObject {
    void* memory; // null when it is not mapped
    int fd;       // open while memory is mapped
    int32_t code; // why it is not mapped
    dev_t device; // of a mapped object
    ino_t inode;
};

void unmap_object(const MappedObject& object, size_t size) {
    os_calls.munmap(object.memory, size);
    os_calls.close(object.fd);
}

// Maps an object that must have exactly `size` bytes. An object that cannot be opened answers
// `absent`; one of another size is passed over in silence, which is kept.
MappedObject map_object(const char* name, size_t size, int32_t absent) {
    const int fd = os_calls.shm_open(name, O_RDWR, SHM_OBJECT_MODE);
    if (fd < 0) {
        return {nullptr, fd, absent, 0, 0};
    }
    MappedObject object{nullptr, fd, kNoPod, 0, 0};
    struct stat status {};
    if (os_calls.fstat(fd, &status) == 0) {
        if (status.st_size != static_cast<off_t>(size)) {
            object.code = kNothingAttached;
        } else if (void* memory =
                       os_calls.mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
                   memory != MAP_FAILED) {
            object.memory = memory;
            object.device = status.st_dev;
            object.inode = status.st_ino;
            return object;
        }
    }
    os_calls.close(fd);
    return object;
}

// ---- the device table ----

uint32_t instances(gbl_shm* table) {
    return std::min<uint32_t>(shared_read(table->max_instances), SHM_DEVICE_RECORDS);
}

// The first used record that carries the serial number; any with 0.
int32_t find_pod(gbl_shm* table, uint32_t serial) {
    const uint32_t count = instances(table);
    for (uint32_t index = 0; index < count; ++index) {
        gbl_shm_record& record = table->devs[index];
        if (shared_read(record.recUsed) != 0 &&
            (serial == 0 || shared_read(record.devSN) == serial)) {
            return static_cast<int32_t>(index);
        }
    }
    return kNoRecord;
}

bool attach_block(JSC_Inform* pJscInform, gbl_shm_record& record, int32_t* pCode) {
    char name[SHM_POD_NAME_SIZE];
    std::memcpy(name, record.lcl_shm_name, sizeof name);
    name[SHM_POD_NAME_SIZE - 1] = '\0';
    const MappedObject object = map_object(name, sizeof(lcl_shm), kNothingAttached);
    if (object.memory == nullptr) {
        *pCode = object.code;
        return false;
    }
    pJscInform->ProxyShm = static_cast<lcl_shm*>(object.memory);
    pJscInform->pod = {.device = object.device,
                       .inode = object.inode,
                       .serial = shared_read(record.devSN),
                       .revision = shared_read(record.devRev)};
    os_calls.close(object.fd);
    return true;
}

// ---- the pod's semaphores ----

sem_t* open_semaphore(const char* name, const char* failure_text) {
    sem_t* const semaphore = os_calls.sem_open(name, O_CREAT, SHM_OBJECT_MODE, 0);
    if (semaphore == SEM_FAILED) {
        std::fputs(failure_text, stderr);
        return nullptr;
    }
    return semaphore;
}

// Without one of the two the open ends with success and the block mapped; that is kept.
bool open_semaphores(JSC_Inform* pJscInform, uint32_t serial) {
    const auto number = static_cast<unsigned long>(serial);
    char name[SHM_SEM_NAME_SIZE];
    std::snprintf(name, sizeof name, SHM_START_SEM_FORMAT, number);
    pJscInform->evStartSem = open_semaphore(name, "failed to open local semaphore [s]\n");
    if (pJscInform->evStartSem == nullptr) {
        return false;
    }
    std::snprintf(name, sizeof name, SHM_COMPLETE_SEM_FORMAT, number);
    pJscInform->evCompleteSem = open_semaphore(name, "failed to open local semaphore [c]\n");
    return pJscInform->evCompleteSem != nullptr;
}

void close_semaphore(sem_t** ppSemaphore) {
    if (*ppSemaphore != nullptr) {
        os_calls.sem_close(*ppSemaphore);
        *ppSemaphore = nullptr;
    }
}

void release_channel(JSC_Inform* pJscInform) {
    if (pJscInform->ProxyShm != nullptr) {
        os_calls.munmap(pJscInform->ProxyShm, sizeof(lcl_shm));
        pJscInform->ProxyShm = nullptr;
    }
    close_semaphore(&pJscInform->evStartSem);
    close_semaphore(&pJscInform->evCompleteSem);
}

// ---- the patience of a host ----

// An exchange that was given up after the proxy took it is still to be answered. The note of it
// stands in the half of `data` that commands do not use: it is the driver's own field, and lives
// exactly as long as the proxy that owes the answer.
constexpr uint32_t kAnswerOwed = 0x0B5E0000;
constexpr uint32_t kArgument = 0x0000FFFF;

bool wait_for_answer(JSC_Inform* pJscInform) {
    return wait_for_post(pJscInform->evCompleteSem, pJscInform->patienceMs, &pJscInform->spin);
}

// Ends the use of a proxy that does not answer. A command that it never took is taken back.
void give_up_on_proxy(JSC_Inform* pJscInform) {
    pJscInform->proxyLost = true;
    if (!take_post(pJscInform->evStartSem)) {
        uint32_t& data = pJscInform->ProxyShm->data;
        shared_write(data, kAnswerOwed | (shared_read(data) & kArgument));
    }
}

// Takes an answer that the proxy owes to somebody who gave up, so that the next one is ours. False
// when it does not come.
bool take_owed_answer(JSC_Inform* pJscInform) {
    uint32_t& data = pJscInform->ProxyShm->data;
    const uint32_t value = shared_read(data);
    if ((value & ~kArgument) != kAnswerOwed) {
        return true;
    }
    if (!wait_for_answer(pJscInform)) {
        return false;
    }
    shared_write(data, value & kArgument);
    return true;
}

// The first exchange of a handle. False when the proxy does not answer.
bool shake_hands(JSC_Inform* pJscInform) {
    if (!take_owed_answer(pJscInform)) {
        return false;
    }
    channel_exchange(pJscInform, SHM_CMD_ATTACH);
    return !pJscInform->proxyLost;
}

// ---- the open, from the table on ----

// Attaches to the pod of a record. Lets the mutex go before the handshake, or on the way out.
int32_t attach_pod(JSC_Inform* pJscInform, gbl_shm* table, uint32_t index, sem_t* mutex) {
    gbl_shm_record& record = table->devs[index];
    int32_t code = kNothingAttached;
    const bool attached = attach_block(pJscInform, record, &code) &&
                          open_semaphores(pJscInform, shared_read(record.devSN));
    unlock_proxy(mutex);
    RETURN_IF(!attached, code);
    const bool answered = shake_hands(pJscInform);
    pJscInform->emuRevision = shared_read(record.devRev);
    if (!answered || index >= instances(table)) {
        release_channel(pJscInform);
        return kNoPod;
    }
    return eJTI_ERROR_NONE;
}

int32_t open_chosen_pod(JSC_Inform* pJscInform, gbl_shm* table, sem_t* mutex) {
    const int32_t index = find_pod(table, pJscInform->qelVariable.sn);
    if (index == kNoRecord) {
        unlock_proxy(mutex);
        return kNoPod;
    }
    return attach_pod(pJscInform, table, static_cast<uint32_t>(index), mutex);
}

} // namespace

int32_t OpenUsbDevice(JSC_Inform* pJscInform) {
    RETURN_IF(pJscInform == nullptr, kNoPod);
    pJscInform->ProxyShm = nullptr;
    pJscInform->evStartSem = nullptr;
    pJscInform->evCompleteSem = nullptr;
    pJscInform->pod = {};
    pJscInform->proxyLost = false;
    pJscInform->spin = {};
    pJscInform->patienceMs = patience_of_environment();
    sem_t* const mutex = lock_proxy(pJscInform->patienceMs);
    RETURN_IF(mutex == nullptr, kNoPod);
    const MappedObject table = map_object(SHM_DEVICE_TABLE_NAME, sizeof(gbl_shm), kNoPod);
    if (table.memory == nullptr) {
        unlock_proxy(mutex);
        return table.code;
    }
    const int32_t code = open_chosen_pod(pJscInform, static_cast<gbl_shm*>(table.memory), mutex);
    unmap_object(table, sizeof(gbl_shm));
    return code;
}

int32_t CloseUsbDevice(JSC_Inform* pJscInform) {
    RETURN_IF(pJscInform == nullptr, eJTI_ERROR_NONE);
    if (channel_is_open(pJscInform)) {
        channel_exchange(pJscInform, SHM_CMD_DETACH);
    }
    release_channel(pJscInform);
    batch_release(pJscInform);
    return eJTI_ERROR_NONE;
}

int32_t wr_supp_reg(JSC_Inform* pJscInform, uint16_t value) {
    RETURN_IF(pJscInform == nullptr || !channel_is_open(pJscInform), eJTI_ERROR_SUPPORT_WRITE);
    shared_write(pJscInform->ProxyShm->data, value);
    const int32_t status = channel_exchange(pJscInform, SHM_CMD_SUPPORT_WRITE);
    return status < 0 ? eJTI_ERROR_SUPPORT_WRITE : eJTI_ERROR_NONE;
}

void my_wait(sem_t* pSemaphore) {
    if (pSemaphore == nullptr) {
        return;
    }
    PostSpin spin{};
    (void)wait_for_post(pSemaphore, 0, &spin);
}

int32_t channel_exchange(JSC_Inform* pJscInform, uint32_t command) {
    shared_write(pJscInform->ProxyShm->cmd, command);
    if (os_calls.sem_post(pJscInform->evStartSem) != 0) {
        pJscInform->proxyLost = true; // it was not told, so it will not answer
        return eJTI_ERROR_BATCH_FAILED;
    }
    if (!wait_for_answer(pJscInform)) {
        give_up_on_proxy(pJscInform);
        return eJTI_ERROR_BATCH_FAILED;
    }
    return shared_read(pJscInform->ProxyShm->status);
}
