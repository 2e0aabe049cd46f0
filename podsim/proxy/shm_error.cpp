#include "podsim/proxy/shm_error.h"

#include "common/shm_facts.h"
#include "common/system_calls.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstring>

namespace talvor::podsim::proxy {
namespace {

bool is_in_the_way(int error) {
    return error == EACCES || error == EPERM || error == EEXIST;
}

} // namespace

std::string block_path(const std::string& name) {
    return kShmFolder + name;
}

std::string semaphore_path(const std::string& name) {
    return std::string(kShmFolder) + "/sem." + name.substr(name.find_first_not_of('/'));
}

Failure shm_failure(std::string_view what, const std::string& path, size_t needed_bytes) {
    const int error = errno;
    struct stat facts {};
    Failure failed = system_failure(std::string(what));
    if (error == ENOSPC) {
        failed = shm_is_full(std::string(what), needed_bytes);
    } else if (is_in_the_way(error) && system_calls.lstat(path.c_str(), &facts) == 0) {
        failed = pod_error(std::string(what),
                           fmt::format("{}: {}", std::strerror(error), owner_text(path, facts)),
                           fmt::format("have its owner or root remove {}", path));
    }
    errno = error;
    return failed;
}

} // namespace talvor::podsim::proxy
