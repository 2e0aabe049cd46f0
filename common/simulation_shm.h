// The /dev/shm that a program's own simulated pod stands in.
#pragma once

#include "common/result.h"

#include <string>

namespace talvor {

// Enters a private one. Where none can be had, as in a container without the right to mount, and no
// pod proxy runs, the machine's has to do: other programs then see the pod. Only while the process
// has one thread.
// Answers "", or what the user is to be told of that. Errors (ErrorKind::Pod): no private one can
// be had, and a pod proxy serves the machine's, or has left its objects there and keeps no lock
// that would tell whether it lives; the reason names both.
[[nodiscard]] Result<std::string> enter_simulation_shm();

} // namespace talvor
