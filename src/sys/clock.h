// The wall clock in milliseconds, and sleeps.
#pragma once

#include "jti_typedef.h"

// Sleeps `delayTime` microseconds, signals or not; 0 returns at once without a system call.
JTI_EXPORT void sys_TimeWaitForTime(uint32_t delayTime);

// The real-time clock in milliseconds, cut to 32 bits: it wraps about every 49.7 days.
JTI_EXPORT wallclock_t sys_TimeWallClock();

// Whether less than `timeOut` milliseconds went by from `start` to `finish`, both readings of the
// wall clock; always true with `noTimeOut`. When the clock wrapped in between (finish below start)
// one millisecond less is counted than went by; that is part of the contract.
JTI_EXPORT bool sys_TimeDifference(uint32_t finish, uint32_t start, uint32_t timeOut,
                                   bool noTimeOut);
