#include "sys/clock.h"

#include "sys/os.h"

namespace {

constexpr uint64_t kMsPerSecond = 1000;
constexpr uint64_t kNsPerMs = 1'000'000;

} // namespace

void sys_TimeWaitForTime(uint32_t delayTime) {
    if (delayTime != 0) {
        os_calls.usleep(delayTime);
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
