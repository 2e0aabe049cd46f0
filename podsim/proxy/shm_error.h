// What an operator is told when an object of the channel cannot be made, opened or removed.
#pragma once

#include "common/result.h"

#include <cstddef>
#include <string>
#include <string_view>

namespace talvor::podsim::proxy {

// Where the objects stand; a semaphore's file has a prefix there.
std::string block_path(const std::string& name);
std::string semaphore_path(const std::string& name);

// `what` ("making shared memory /x") failed with the present errno, at the file `path`, for which
// `needed_bytes` were asked (0: none). A full /dev/shm is told with what is needed and what is
// free, an object in the way with its owner and mode. errno stays as it is.
[[nodiscard]] Failure shm_failure(std::string_view what, const std::string& path,
                                  size_t needed_bytes = 0);

} // namespace talvor::podsim::proxy
