// The proxy-wide mutex, held while a pod is chosen from the device table.
//
// It is a semaphore, which stays taken when its holder is killed. A handle of this driver therefore
// locks a byte of the device table for as long as it waits for the mutex or holds it, and leaves a
// word behind the semaphore that says so: the last bytes of a sem_t are not the C library's. Where
// the word stands and the byte is free, whoever wrote it was killed. Hosts with another driver
// neither lock nor write; a mutex that one of them holds is never taken from it while it holds it
// for less than the times below, and only where a handle of ours was killed too.
#pragma once

#include <cstdint>
#include <semaphore.h>

struct ProxyMutex {
    sem_t* semaphore; // the mutex itself
    int gate;         // descriptor of the device table whose byte is locked; negative: none
    bool taken_over;  // from a holder that was killed
};

// The word behind the semaphore.
inline constexpr uint32_t kMutexWanted = 0x57414E54; // its writer waits, or has let go: not certain
inline constexpr uint32_t kMutexHeld = 0x48454C44;   // its writer holds the mutex
uint32_t& proxy_mutex_word(sem_t* semaphore);

// Which byte of the device table is locked: behind its end, where no other program has a reason to.
inline constexpr long kMutexGateByte = 0x10000;

// How long a mutex must stay taken before it is taken over from a killed handle that certainly held
// it, and from one of which that is not certain, because it was killed within an instant of taking
// it or letting it go. In the second case another driver's host may be the holder, and gets the
// time.
inline constexpr uint32_t kMutexHeldMs = 100;
inline constexpr uint32_t kMutexWantedMs = 5000;

// Takes the mutex.
//   patience_ms  in: longest wait, but for kMutexHeldMs; 0: no limit
// False when there is no mutex or the patience is over; nothing is held then. Without locks (the
// kernel or the file system knows none, or there is no device table) nothing is taken over.
[[nodiscard]] bool proxy_mutex_lock(ProxyMutex* pMutex, uint32_t patience_ms);

void proxy_mutex_unlock(const ProxyMutex& mutex);
