// Ctrl-C and its like: work ends at the next safe point, so that the pod is left as it should be.
#pragma once

#include "common/result.h"

#include <chrono>
#include <string>

namespace talvor {

// From now on a first SIGINT, SIGTERM, SIGQUIT or SIGHUP only asks for the end; a second one of the
// same kind kills as usual. A SIGHUP that was ignored before (nohup) stays ignored.
void watch_interrupts();
// Asks for the end when `time` is over, as SIGALRM; `reason` is what check_interrupt() then says.
// Once, after watch_interrupts().
void interrupt_after(std::chrono::nanoseconds time, const std::string& reason);
// Whether that has come.
[[nodiscard]] bool time_is_over() noexcept;
// Nobody has asked, and the next signal asks again: for a program that has ended what was asked to
// end, and goes on.
void forget_interrupt();
// The signal that has asked, or 0.
[[nodiscard]] int interrupt_signal() noexcept;
// A descriptor that is readable for good once a signal has asked, for poll(2); -1, which poll(2)
// passes over, where nobody watches. It stays ours.
[[nodiscard]] int interrupt_descriptor() noexcept;
// An error when a signal has asked, for loops and ports to return.
[[nodiscard]] Status check_interrupt();
// While one lives, a second signal of a kind asks for the end once more and does not kill: where
// something must be put right before the program may end.
class SignalsOnlyAsk {
public:
    SignalsOnlyAsk() noexcept;
    ~SignalsOnlyAsk();
    SignalsOnlyAsk(const SignalsOnlyAsk&) = delete;
    SignalsOnlyAsk& operator=(const SignalsOnlyAsk&) = delete;
};
// The same, and check_interrupt() has nothing to say: for what puts it right, which takes no time
// worth mentioning. What was asked is not forgotten. One at a time.
class InterruptsHeld {
public:
    InterruptsHeld() noexcept;
    ~InterruptsHeld();
    InterruptsHeld(const InterruptsHeld&) = delete;
    InterruptsHeld& operator=(const InterruptsHeld&) = delete;

private:
    SignalsOnlyAsk signals_;
};
// Sleeps that long, or until a signal asks for the end, then or before.
void sleep_unless_interrupted(std::chrono::nanoseconds time);
// Waits until `fd` can be read, or is at its end. The error is that of check_interrupt().
[[nodiscard]] Status await_input(int fd);
// Ends this process by `signal`, as if nobody had taken it: for a program that has cleaned up, so
// that its shell sees what stopped it. Without a core file.
void end_by_signal(int signal);

} // namespace talvor
