// Ctrl-C for a call out of a program that takes it by itself, such as an interpreter.
#pragma once

#include <csignal>

namespace talvor {

// As long as it lives SIGINT only asks for the end of the work at hand (see check_interrupt), each
// time; then the handler that was there before is back. The program raises what was asked meanwhile
// to itself. One at a time, and not beside watch_interrupts().
class InterruptScope {
public:
    InterruptScope();
    ~InterruptScope();
    InterruptScope(const InterruptScope&) = delete;
    InterruptScope& operator=(const InterruptScope&) = delete;

private:
    struct sigaction before_ {};
};

} // namespace talvor
