// A polling wait for an event that a callback recognises.
#pragma once

#include "jti_typedef.h"

// What the callback is asked to do.
enum EventAction : uint8_t {
    EventActionStart = 0,   // the wait begins; the result is ignored
    EventActionTest = 1,    // true: the event happened
    EventActionAbandon = 2, // true: give up
};

// How a wait ended.
enum EventResult : int32_t {
    EventHappened = 0,
    EventTimedOut = -1,
    EventAbandoned = -2,
};

// Asked with the `handle`, `parameter` and `eventChoice` of the wait and an EventAction.
typedef bool (*EventTest)(void* handle, uint8_t action, uint32_t parameter, uint32_t eventChoice);

// Calls eventTest (not null) with EventActionStart once and then with EventActionTest until it
// answers true. The first 256 tests read no clock; from then on, after every 256 tests, the
// callback is asked whether to abandon and the wall clock is read. `handle`, `parameter` and
// `eventChoice` are only handed through. `timeOut` is in milliseconds; with `noTimeOut` it does not
// count. Returns EventHappened, EventTimedOut or EventAbandoned.
JTI_EXPORT int32_t sys_TimeWaitForEvent(void* handle, uint32_t parameter, uint32_t eventChoice,
                                        uint32_t timeOut, bool noTimeOut, EventTest eventTest);
