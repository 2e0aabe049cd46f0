#include "sys/clock.h"

#include "sys/os.h"

#include <cerrno>

namespace {

constexpr uint64_t kMsPerSecond = 1000;
constexpr uint64_t kNsPerMs = 1'000'000;
constexpr uint64_t kUsPerSecond = 1'000'000;
constexpr uint64_t kNsPerUs = 1000;

uint64_t now_us() {
    timespec now{};
    os_calls.clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<uint64_t>(now.tv_sec) * kUsPerSecond +
           static_cast<uint64_t>(now.tv_nsec) / kNsPerUs;
}

} // namespace

// A signal ends a sleep early, and a pulse or a settle time would be cut short: the rest is slept
// then, or all of it when the clock cannot tell.
void sys_TimeWaitForTime(uint32_t delayTime) {
    if (delayTime == 0) {
        return;
    }
    const uint64_t start = now_us();
    uint64_t rest = delayTime;
    while (rest != 0 && os_calls.usleep(static_cast<useconds_t>(rest)) != 0 && errno == EINTR) {
        const uint64_t slept = now_us() - start;
        rest = slept < delayTime ? delayTime - slept : 0;
    }
}

wallclock_t sys_TimeWallClock() {
    timespec now{};
    os_calls.clock_gettime(CLOCK_REALTIME, &now);
    return static_cast<wallclock_t>(static_cast<uint64_t>(now.tv_sec) * kMsPerSecond +
                                    static_cast<uint64_t>(now.tv_nsec) / kNsPerMs);
}

bool sys_TimeDifference(uint32_t finish, uint32_t start, uint32_t timeOut, bool noTimeOut) {
    // Kept: the 1 that a wrap takes off. Hosts have tuned their time-outs with it.
    const uint32_t wrapped = finish < start ? 1U : 0U;
    return noTimeOut || finish - start - wrapped < timeOut;
}
