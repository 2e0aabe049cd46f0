// Other hosts of the pod that this process is connected to.
#pragma once

#include <string>

namespace talvor {

// The controller block that a process has mapped; "" when there is none, or no right to look.
// `process` is its number, or "self".
[[nodiscard]] std::string mapped_controller_block(const std::string& process);
// The number of another process that has `block` mapped; "" when there is none.
[[nodiscard]] std::string other_host(const std::string& block);

} // namespace talvor
