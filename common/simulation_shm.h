// The /dev/shm that a program's own simulated pod stands in.
#pragma once

#include "common/result.h"

#include <string>

namespace talvor {

// A program that enters a private one for another gives it the number of the mount namespace in
// this variable: that of /proc/self/ns/mnt.
inline constexpr const char* kPrivateShmVariable = "TALVOR_PRIVATE_SHM";

// Enters a private one, or stays where this program, or who has started it, entered one already and
// no pod proxy serves that. Where none can be had, as in a container without the right to mount,
// and no pod proxy runs, the machine's has to do: other programs then see the pod. Only while the
// process has one thread. Answers "", or what the user is to be told of that. Errors
// (ErrorKind::Pod): no private one can be had, and a pod proxy serves the machine's, or has left
// its objects there and keeps no lock that would tell whether it lives; the reason names both.
[[nodiscard]] Result<std::string> enter_simulation_shm();

} // namespace talvor
