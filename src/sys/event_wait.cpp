#include "sys/event_wait.h"

#include "sys/clock.h"

namespace {

constexpr unsigned kTestsPerRound = 256;

} // namespace

int32_t sys_TimeWaitForEvent(void* handle, uint32_t parameter, uint32_t eventChoice,
                             uint32_t timeOut, bool noTimeOut, EventTest eventTest) {
    const auto ask = [=](EventAction action) {
        return eventTest(handle, action, parameter, eventChoice);
    };
    const auto happened_in_a_round = [&] {
        for (unsigned test = 0; test < kTestsPerRound; ++test) {
            if (ask(EventActionTest)) {
                return true;
            }
        }
        return false;
    };

    ask(EventActionStart);
    if (happened_in_a_round()) {
        return EventHappened;
    }
    const wallclock_t start = sys_TimeWallClock();
    for (;;) {
        if (happened_in_a_round()) {
            return EventHappened;
        }
        const wallclock_t finish = sys_TimeWallClock();
        if (ask(EventActionAbandon)) {
            return EventAbandoned;
        }
        if (!sys_TimeDifference(finish, start, timeOut, noTimeOut)) {
            return EventTimedOut;
        }
    }
}
