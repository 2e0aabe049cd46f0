#include "transport/post_wait.h"

#include "sys/number.h"
#include "sys/os.h"

#include <algorithm>
#include <cstdlib>
#include <limits>

namespace {

// The time-stamp counter, cut to 32 bits: differences of short times. Reading it is no system call,
// as reading a clock may be.
uint32_t ticks_now() {
    return static_cast<uint32_t>(__builtin_ia32_rdtsc());
}

// Looks at the semaphore until a post is there, for so many ticks. False also for a post that came
// later: then the scheduler has let others in, and it is theirs.
bool spin_for_post(sem_t* pSemaphore, uint32_t ticks) {
    const uint32_t start = ticks_now();
    for (;;) {
        const bool here = has_post(pSemaphore);
        const bool in_time = ticks_now() - start < ticks;
        if (here || !in_time) {
            return here && in_time;
        }
        __builtin_ia32_pause();
    }
}

// Looks for a post between turns of others: the proxy may need this processor to make it.
void look_for_post(sem_t* pSemaphore) {
    constexpr int kTurns = 64;
    constexpr int kLooks = 32;
    for (int turn = 0; turn < kTurns; ++turn) {
        os_calls.sched_yield();
        for (int look = 0; look < kLooks; ++look) {
            if (has_post(pSemaphore)) {
                return;
            }
            __builtin_ia32_pause();
        }
    }
}

int64_t now_ms() {
    timespec now{};
    os_calls.clock_gettime(CLOCK_MONOTONIC, &now);
    return int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1'000'000;
}

} // namespace

bool has_post(sem_t* pSemaphore) {
    int posts = 0;
    return sem_getvalue(pSemaphore, &posts) == 0 && posts > 0;
}

bool take_post(sem_t* pSemaphore) {
    // Kept: the deadline lies in the past, so that every attempt returns at once and a wait spins
    // until the proxy posts. A sleeping wait would add the scheduler's latency to every exchange.
    constexpr timespec kDeadline{.tv_sec = 10, .tv_nsec = 100'000'000};
    return os_calls.sem_timedwait(pSemaphore, &kDeadline) == 0;
}

bool wait_for_post(sem_t* pSemaphore, uint32_t patience_ms, PostSpin* pSpin) {
    const bool answered = spin_for_post(pSemaphore, spin_of_next_wait(pSpin));
    spin_learn(pSpin, answered);
    if (has_post(pSemaphore) && take_post(pSemaphore)) {
        return true;
    }
    const int64_t start = patience_ms == 0 ? 0 : now_ms();
    for (;;) {
        // An attempt without a post costs a system call, for which the kernel sets up a timer: ten
        // times a short exchange. So the post is looked for first.
        look_for_post(pSemaphore);
        const bool over = patience_ms != 0 && now_ms() - start >= patience_ms;
        if (take_post(pSemaphore)) {
            return true;
        }
        if (over) {
            return false;
        }
    }
}

bool wait_until_taken(sem_t* pSemaphore, uint32_t patience_ms) {
    constexpr int kLooks = 1024;
    const int64_t start = patience_ms == 0 ? 0 : now_ms();
    for (;;) {
        const bool over = patience_ms != 0 && now_ms() - start >= patience_ms;
        for (int look = 0; look < kLooks; ++look) {
            if (!has_post(pSemaphore)) {
                return true;
            }
            __builtin_ia32_pause();
        }
        if (over) {
            return false;
        }
        os_calls.sched_yield();
    }
}

uint32_t spin_of_next_wait(PostSpin* pSpin) {
    const bool trial = pSpin->waits % kWaitsPerTrial == 0;
    ++pSpin->waits;
    return trial ? kSpinMost : pSpin->ticks;
}

void spin_learn(PostSpin* pSpin, bool answered) {
    pSpin->ticks = answered ? kSpinMost : std::max(pSpin->ticks / 2, kSpinLeast);
}

uint32_t patience_of_environment() {
    int64_t number = 0;
    if (sys_Str0ToSigned64(std::getenv("TALVOR_PROXY_PATIENCE_MS"), &number) || number < 1) {
        return 0;
    }
    return static_cast<uint32_t>(std::min<int64_t>(number, std::numeric_limits<uint32_t>::max()));
}
