#include "podsim/proxy/names.h"

#include "shm_structs.h"

#include <fmt/printf.h>

namespace talvor::podsim::proxy {

std::string block_name(uint32_t serial) {
    return fmt::sprintf(SHM_POD_BLOCK_FORMAT, static_cast<unsigned long>(serial));
}
std::string start_name(uint32_t serial) {
    return fmt::sprintf(SHM_START_SEM_FORMAT, static_cast<unsigned long>(serial));
}
std::string complete_name(uint32_t serial) {
    return fmt::sprintf(SHM_COMPLETE_SEM_FORMAT, static_cast<unsigned long>(serial));
}

} // namespace talvor::podsim::proxy
