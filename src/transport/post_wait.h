// Waits for a post of a semaphore: on the processor, and for as long as the host has patience.
#pragma once

#include "jsc_internal.h"

#include <semaphore.h>

// Takes one post. The processor is kept for a short while and then offered to others again and
// again.
//   patience_ms  in: longest wait; 0 has no limit
//   pSpin        in, out: what the waits for this poster have shown
// False when the patience was over before a post came.
[[nodiscard]] bool wait_for_post(sem_t* pSemaphore, uint32_t patience_ms, PostSpin* pSpin);

// Takes one post if there is one.
[[nodiscard]] bool take_post(sem_t* pSemaphore);

// Whether there is a post; it stays.
[[nodiscard]] bool has_post(sem_t* pSemaphore);

// Looks until whoever waits for this semaphore has taken its post, or for so long; 0 has no limit.
// False when the time was over first.
[[nodiscard]] bool wait_until_taken(sem_t* pSemaphore, uint32_t patience_ms);

// The patience that TALVOR_PROXY_PATIENCE_MS asks for: a number of milliseconds from 1 on; without
// it, or when it is anything else, 0.
[[nodiscard]] uint32_t patience_of_environment();

// ---- how long a wait keeps the processor before it lets others in ----
//
// Letting others in may cost a whole slice of the scheduler, and is of use only where the poster
// needs this very processor. So a wait keeps it long while posts come meanwhile, half as long after
// each time in vain, and tries a long one again now and then. In ticks of the time-stamp counter,
// 1 to 5 of which are a nanosecond.
inline constexpr uint32_t kSpinLeast = 2'000; // below a switch to another task and back
inline constexpr uint32_t kSpinMost = 80'000; // above most exchanges, far below a scheduler's slice
inline constexpr uint32_t kWaitsPerTrial = 64;

// For the wait that begins.
[[nodiscard]] uint32_t spin_of_next_wait(PostSpin* pSpin);

// Whether a post came meanwhile.
void spin_learn(PostSpin* pSpin, bool answered);
