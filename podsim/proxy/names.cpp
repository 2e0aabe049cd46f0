#include "podsim/proxy/names.h"

#include "shm_structs.h"

#include <array>
#include <cstdio>

namespace talvor::podsim::proxy {
namespace {

using Name = std::array<char, SHM_SEM_NAME_SIZE>;

} // namespace

std::string block_name(uint32_t serial) {
    Name name{};
    std::snprintf(name.data(), name.size(), SHM_POD_BLOCK_FORMAT,
                  static_cast<unsigned long>(serial));
    return name.data();
}
std::string start_name(uint32_t serial) {
    Name name{};
    std::snprintf(name.data(), name.size(), SHM_START_SEM_FORMAT,
                  static_cast<unsigned long>(serial));
    return name.data();
}
std::string complete_name(uint32_t serial) {
    Name name{};
    std::snprintf(name.data(), name.size(), SHM_COMPLETE_SEM_FORMAT,
                  static_cast<unsigned long>(serial));
    return name.data();
}

} // namespace talvor::podsim::proxy
