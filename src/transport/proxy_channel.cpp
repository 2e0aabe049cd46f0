#include "transport/proxy_channel.h"

#include "sys/check.h"
#include "sys/os.h"
#include "transport/exchange_note.h"
#include "transport/post_wait.h"
#include "transport/proxy_mutex.h"
#include "transport/read_list.h"
#include "transport/shared_field.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/mman.h>

namespace {

// How an open ends early: with a success that hosts rely on, or without a pod.
constexpr int32_t kNothingAttached = eJTI_ERROR_NONE;
constexpr int32_t kNoPod = eJTI_ERROR_TRANSPORT;

constexpr int32_t kNoRecord = -1;

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

// What is left to settle before the first exchange: *pOrphaned, one that a killed host began.
bool attach_block(JSC_Inform* pJscInform, gbl_shm_record& record, int32_t* pCode, bool* pOrphaned) {
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
    exchange_hold(pJscInform, object.fd, pOrphaned);
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
    exchange_let_go(pJscInform);
    if (pJscInform->ProxyShm != nullptr) {
        os_calls.munmap(pJscInform->ProxyShm, sizeof(lcl_shm));
        pJscInform->ProxyShm = nullptr;
    }
    close_semaphore(&pJscInform->evStartSem);
    close_semaphore(&pJscInform->evCompleteSem);
}

// ---- the patience of a host ----

bool wait_for_answer(JSC_Inform* pJscInform) {
    return wait_for_post(pJscInform->evCompleteSem, pJscInform->patienceMs, &pJscInform->spin);
}

// Ends the use of a proxy that does not answer. A command that it never took is taken back; of one
// that it took a note stays, because the answer is still to come.
void give_up_on_proxy(JSC_Inform* pJscInform) {
    pJscInform->proxyLost = true;
    if (take_post(pJscInform->evStartSem)) {
        exchange_end_note(pJscInform->ProxyShm);
    } else {
        exchange_write_note(pJscInform->ProxyShm, kNoteGivenUp);
    }
}

// ---- the first exchange of a handle ----

// How long the answer to an attach may take from when the proxy has taken it. Only where a killed
// host's exchange is noted and it cannot be seen whether its answer is still owed.
constexpr uint32_t kAttachMs = 1000;

// Takes an answer that the proxy owes to somebody who gave up, so that the next one is ours. False
// when it does not come.
bool take_given_up_answer(JSC_Inform* pJscInform) {
    if (exchange_note(pJscInform->ProxyShm) != kNoteGivenUp) {
        return true;
    }
    if (!wait_for_answer(pJscInform)) {
        return false;
    }
    exchange_write_note(pJscInform->ProxyShm, 0);
    return true;
}

// Takes what killed hosts have left in the semaphores: commands that were not begun, and answers
// that they did not take. True for an answer: then no other is owed.
bool clear_semaphores(JSC_Inform* pJscInform) {
    while (take_post(pJscInform->evStartSem)) {
    }
    bool answered = false;
    while (take_post(pJscInform->evCompleteSem)) {
        answered = true;
    }
    return answered;
}

// The answer to an exchange that a killed host began may still be owed, or may not: the host was
// killed before it posted start, or behind the answer; the proxy has dropped the answer, or was
// started anew on the same block. A wait for it might have no end. So the attach is posted behind
// it: the proxy takes that only when it has posted what it owes. False when it does not take it, or
// does not answer; the note stays for the next handle then.
bool attach_behind_the_dead(JSC_Inform* pJscInform) {
    sem_t* const complete = pJscInform->evCompleteSem;
    exchange_begin_note(pJscInform->ProxyShm);
    shared_write(pJscInform->ProxyShm->cmd, SHM_CMD_ATTACH);
    if (os_calls.sem_post(pJscInform->evStartSem) != 0) {
        return false;
    }
    if (!wait_until_taken(pJscInform->evStartSem, pJscInform->patienceMs)) {
        (void)take_post(pJscInform->evStartSem);
        return false;
    }
    // No post yet: there was nothing owed, and the first one is ours. Else it may be either.
    const bool either = has_post(complete);
    if (!wait_for_answer(pJscInform)) {
        return false;
    }
    if (either) {
        (void)wait_for_post(complete, kAttachMs, &pJscInform->spin);
    }
    exchange_end_note(pJscInform->ProxyShm);
    return true;
}

// False when the proxy does not answer.
bool shake_hands(JSC_Inform* pJscInform, bool orphaned) {
    if (!take_given_up_answer(pJscInform)) {
        return false;
    }
    if (orphaned && !clear_semaphores(pJscInform)) {
        return attach_behind_the_dead(pJscInform);
    }
    channel_exchange(pJscInform, SHM_CMD_ATTACH);
    return !pJscInform->proxyLost;
}

// ---- the open, from the table on ----

// Attaches to the pod of a record. Lets the mutex go before the handshake, or on the way out.
int32_t attach_pod(JSC_Inform* pJscInform, gbl_shm* table, uint32_t index,
                   const ProxyMutex& mutex) {
    gbl_shm_record& record = table->devs[index];
    int32_t code = kNothingAttached;
    bool orphaned = false;
    const bool attached = attach_block(pJscInform, record, &code, &orphaned) &&
                          open_semaphores(pJscInform, shared_read(record.devSN));
    proxy_mutex_unlock(mutex);
    RETURN_IF(!attached, code);
    const bool answered = shake_hands(pJscInform, orphaned);
    pJscInform->emuRevision = shared_read(record.devRev);
    if (!answered || index >= instances(table)) {
        release_channel(pJscInform);
        return kNoPod;
    }
    return eJTI_ERROR_NONE;
}

int32_t open_chosen_pod(JSC_Inform* pJscInform, gbl_shm* table, const ProxyMutex& mutex) {
    const int32_t index = find_pod(table, pJscInform->qelVariable.sn);
    if (index == kNoRecord) {
        proxy_mutex_unlock(mutex);
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
    pJscInform->podHold = {};
    pJscInform->proxyLost = false;
    pJscInform->spin = {};
    pJscInform->patienceMs = patience_of_environment();
    ProxyMutex mutex{};
    RETURN_IF(!proxy_mutex_lock(&mutex, pJscInform->patienceMs), kNoPod);
    const MappedObject table = map_object(SHM_DEVICE_TABLE_NAME, sizeof(gbl_shm), kNoPod);
    if (table.memory == nullptr) {
        proxy_mutex_unlock(mutex);
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
    lcl_shm* const block = pJscInform->ProxyShm;
    shared_write(block->cmd, command);
    exchange_begin_note(block);
    if (os_calls.sem_post(pJscInform->evStartSem) != 0) {
        exchange_end_note(block);
        pJscInform->proxyLost = true; // it was not told, so it will not answer
        return eJTI_ERROR_BATCH_FAILED;
    }
    if (!wait_for_answer(pJscInform)) {
        give_up_on_proxy(pJscInform);
        return eJTI_ERROR_BATCH_FAILED;
    }
    exchange_end_note(block);
    return shared_read(block->status);
}
