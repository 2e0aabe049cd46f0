// Names of a pod's objects.
#pragma once

#include <cstdint>
#include <string>

namespace talvor::podsim::proxy {

std::string block_name(uint32_t serial);
std::string start_name(uint32_t serial);
std::string complete_name(uint32_t serial);

} // namespace talvor::podsim::proxy
