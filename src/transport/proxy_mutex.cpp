#include "transport/proxy_mutex.h"

#include "shm_structs.h"
#include "sys/check.h"
#include "sys/os.h"
#include "transport/object_lock.h"
#include "transport/shared_field.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>

namespace {

constexpr int kNoGate = -1;
constexpr useconds_t kMillisecond = 1000;

timespec time_of_day_in(uint32_t delay_ms) {
    timespec time{};
    os_calls.clock_gettime(CLOCK_REALTIME, &time);
    const long ns = time.tv_nsec + static_cast<long>(delay_ms % 1000) * 1'000'000;
    time.tv_sec += delay_ms / 1000 + (ns >= 1'000'000'000 ? 1 : 0);
    time.tv_nsec = ns % 1'000'000'000;
    return time;
}

// ---- the byte of the device table ----

ObjectBytes gate_bytes(int fd) {
    return {.fd = fd, .first = kMutexGateByte, .count = 1};
}

// Locks the byte, which another handle has only while it waits for the mutex or holds it. kNoGate
// where it cannot be locked. False when the patience was over first.
bool enter_gate(int* pGate, uint32_t patience_ms) {
    *pGate = kNoGate;
    const int fd = os_calls.shm_open(SHM_DEVICE_TABLE_NAME, O_RDWR, SHM_OBJECT_MODE);
    RETURN_IF(fd < 0, true);
    for (uint32_t waited_ms = 0; !object_try_lock(gate_bytes(fd), ObjectLock::Exclusive);
         ++waited_ms) {
        const bool taken = errno == EAGAIN || errno == EACCES;
        const bool over = patience_ms != 0 && waited_ms >= patience_ms;
        if (!taken || over) {
            os_calls.close(fd);
            return !taken;
        }
        os_calls.usleep(kMillisecond);
    }
    *pGate = fd;
    return true;
}

void leave_gate(int gate) {
    if (gate != kNoGate) {
        object_unlock(gate_bytes(gate));
        os_calls.close(gate);
    }
}

// ---- the semaphore ----

// Without a limit: 0.
bool take_within(sem_t* semaphore, uint32_t limit_ms) {
    const timespec deadline = limit_ms == 0 ? timespec{} : time_of_day_in(limit_ms);
    int result = 0;
    do {
        result = limit_ms == 0 ? os_calls.sem_wait(semaphore)
                               : os_calls.sem_timedwait(semaphore, &deadline);
    } while (result != 0 && errno == EINTR);
    return result == 0;
}

void write_word(const ProxyMutex& mutex, uint32_t word) {
    if (mutex.gate != kNoGate) {
        shared_write(proxy_mutex_word(mutex.semaphore), word);
    }
}

// What a handle that was killed has left; 0 when nothing, or when that cannot be told.
uint32_t word_left_behind(const ProxyMutex& mutex) {
    const uint32_t word =
        mutex.gate == kNoGate ? 0 : shared_read(proxy_mutex_word(mutex.semaphore));
    return word == kMutexHeld || word == kMutexWanted ? word : 0;
}

// Waits for the mutex where a handle was killed over it, and takes it over when it stays taken.
bool take_from_the_dead(ProxyMutex* pMutex, uint32_t left, uint32_t patience_ms) {
    const uint32_t bound_ms = left == kMutexHeld ? kMutexHeldMs : kMutexWantedMs;
    const bool patient = left == kMutexHeld || patience_ms == 0 || patience_ms >= bound_ms;
    if (take_within(pMutex->semaphore, patient ? bound_ms : patience_ms)) {
        return true;
    }
    pMutex->taken_over = patient && errno == ETIMEDOUT;
    return pMutex->taken_over;
}

// The word changes only when it is known what with: a wait in vain leaves it as it found it.
bool take(ProxyMutex* pMutex, uint32_t patience_ms) {
    const uint32_t left = word_left_behind(*pMutex);
    if (left == 0) {
        write_word(*pMutex, kMutexWanted);
    }
    const bool taken = left == 0 ? take_within(pMutex->semaphore, patience_ms)
                                 : take_from_the_dead(pMutex, left, patience_ms);
    write_word(*pMutex, taken ? kMutexHeld : left);
    return taken;
}

// Where the holder that was taken for dead has posted all the same, there is nothing to post.
bool is_posted_already(const ProxyMutex& mutex) {
    int value = 0;
    return mutex.taken_over && sem_getvalue(mutex.semaphore, &value) == 0 && value > 0;
}

} // namespace

uint32_t& proxy_mutex_word(sem_t* semaphore) {
    // Of the 32 bytes of a sem_t the C library uses the first 16, and clears the rest of a new one.
    static_assert(sizeof(sem_t) == 32);
    return *reinterpret_cast<uint32_t*>(reinterpret_cast<uint8_t*>(semaphore) + sizeof(sem_t) -
                                        sizeof(uint32_t));
}

bool proxy_mutex_lock(ProxyMutex* pMutex, uint32_t patience_ms) {
    *pMutex = {.semaphore = os_calls.sem_open(SHM_GLOBAL_MUTEX_NAME, 0),
               .gate = kNoGate,
               .taken_over = false};
    RETURN_IF(pMutex->semaphore == SEM_FAILED, false);
    if (enter_gate(&pMutex->gate, patience_ms) && take(pMutex, patience_ms)) {
        return true;
    }
    leave_gate(pMutex->gate);
    os_calls.sem_close(pMutex->semaphore);
    return false;
}

void proxy_mutex_unlock(const ProxyMutex& mutex) {
    write_word(mutex, kMutexWanted);
    if (!is_posted_already(mutex)) {
        os_calls.sem_post(mutex.semaphore);
    }
    write_word(mutex, 0);
    leave_gate(mutex.gate);
    os_calls.sem_close(mutex.semaphore);
}
