#include "sys/event_wait.h"

#include "sys/clock.h"

namespace {

constexpr unsigned tests_per_round = 256;

} // namespace

int32_t sys_TimeWaitForEvent(void* handle, uint32_t parameter, uint32_t eventChoice,
                             uint32_t timeOut, bool noTimeOut, EventTest eventTest) {
    const auto ask = [=](EventAction action) {
        return eventTest(handle, action, parameter, eventChoice);
    };
    const auto happened_in_a_round = [&] {
        for (unsigned test = 0; test < tests_per_round; ++test) {
            if (ask(EVENT_TEST)) {
                return true;
            }
        }
        return false;
    };

    ask(EVENT_START);
    if (happened_in_a_round()) {
        return EVENT_HAPPENED;
    }
    const wallclock_t start = sys_TimeWallClock();
    for (;;) {
        if (happened_in_a_round()) {
            return EVENT_HAPPENED;
        }
        const wallclock_t finish = sys_TimeWallClock();
        if (ask(EVENT_ABANDON)) {
            return EVENT_ABANDONED;
        }
        if (!sys_TimeDifference(finish, start, timeOut, noTimeOut)) {
            return EVENT_TIMED_OUT;
        }
    }
}
