// Waits for a post of a semaphore: on the processor, and for as long as the host has patience.
#pragma once

#include "jti_typedef.h"

#include <semaphore.h>

// Takes one post. A patience of 0 ms has no limit. False when it was over before a post came.
[[nodiscard]] bool wait_for_post(sem_t* pSemaphore, uint32_t patience_ms);

// Takes one post if there is one.
[[nodiscard]] bool take_post(sem_t* pSemaphore);

// The patience that TALVOR_PROXY_PATIENCE_MS asks for: a number of milliseconds from 1 on; without
// it, or when it is anything else, 0.
[[nodiscard]] uint32_t patience_of_environment();
