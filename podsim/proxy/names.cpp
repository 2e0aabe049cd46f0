#include "podsim/proxy/names.h"

#include "shm_structs.h"

#include <array>
#include <cstdio>

namespace podsim::proxy {
namespace {

std::string formatted(const char* format, std::uint32_t serial) {
    std::array<char, SHM_SEM_NAME_SIZE> name{};
    // NOLINTNEXTLINE(*-vararg): the format is the channel's own
    std::snprintf(name.data(), name.size(), format, static_cast<unsigned long>(serial));
    return name.data();
}

} // namespace

std::string block_name(std::uint32_t serial) {
    return formatted(SHM_POD_BLOCK_FORMAT, serial);
}
std::string start_name(std::uint32_t serial) {
    return formatted(SHM_START_SEM_FORMAT, serial);
}
std::string complete_name(std::uint32_t serial) {
    return formatted(SHM_COMPLETE_SEM_FORMAT, serial);
}

} // namespace podsim::proxy
