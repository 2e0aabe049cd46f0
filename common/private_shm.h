// A /dev/shm of the process's own: pod channel objects in it meet no proxy of the machine.
#pragma once

#include "common/result.h"

namespace talvor {

// Moves the calling process into a mount namespace with an empty /dev/shm; its later children share
// it. A user who may not do that directly gets a user namespace too, with the same user and group
// ids, if a child could get one. Only while the process has one thread. On failure /dev/shm is the
// machine's and the user who it was; the process may stand in a mount namespace of its own.
[[nodiscard]] Status enter_private_shm();

} // namespace talvor
