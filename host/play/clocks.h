// Clocks that a port cannot count.
#pragma once

#include "host/jtag/port.h"
#include "host/play/step.h"

#include <chrono>
#include <optional>
#include <vector>

namespace talvor::play {

// So many seconds, rounded up to the nanosecond; nothing for a negative number or more than a
// thousand days.
[[nodiscard]] std::optional<std::chrono::nanoseconds> to_time(double seconds) noexcept;

// Makes of the clocks of `run`, of which its state gets any number, the time that they take at the
// clock which `port` has below `hertz` (nothing: at full speed), and notes it. False, and nothing
// is changed, when the state counts clocks (Run-Test/Idle), or the time is not known.
[[nodiscard]] bool clocks_become_time(const JtagPort& port, std::optional<double> hertz,
                                      RunStep& run, std::vector<Note>& notes);

} // namespace talvor::play
