// Threads that may not come to be.
#pragma once

#include "common/result.h"

#include <functional>
#include <string_view>
#include <thread>

namespace talvor {

// Starts a thread that runs `body`. `what` names it in the error.
[[nodiscard]] Result<std::thread> start_thread(std::string_view what, std::function<void()> body);

} // namespace talvor
