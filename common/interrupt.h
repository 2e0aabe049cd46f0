// Ctrl-C: work ends at the next safe point, so that the pod is left as it should be.
#pragma once

#include "common/result.h"

namespace talvor {

// From now on a first SIGINT or SIGTERM only asks for the end; a second one kills as usual.
void watch_interrupts();
// The signal that has asked, or 0.
[[nodiscard]] int interrupt_signal() noexcept;
// An error when a signal has asked, for loops and ports to return.
[[nodiscard]] Status check_interrupt();

} // namespace talvor
