// Why the controller block that the hosts of a pod share could not be had: what the driver's one
// code for it (-164) leaves open, and /dev/shm tells.
#pragma once

#include "common/result.h"

#include <string>

namespace talvor {

// The error of an operation, `thing`, that answered that code. A full /dev/shm is told with what is
// needed and what is free; blocks that this user may not use with owner and mode; blocks of a wrong
// size with their size. Blocks of other pods look the same: where there are several of one kind,
// all are named.
[[nodiscard]] Failure block_error(std::string thing);

} // namespace talvor
