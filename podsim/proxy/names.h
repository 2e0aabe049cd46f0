// Names of a pod's objects.
#pragma once

#include <cstdint>
#include <string>

namespace podsim::proxy {

std::string block_name(std::uint32_t serial);
std::string start_name(std::uint32_t serial);
std::string complete_name(std::uint32_t serial);

} // namespace podsim::proxy
