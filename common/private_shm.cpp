#include "common/private_shm.h"

#include "common/file_descriptor.h"
#include "common/system_calls.h"

#include <fcntl.h>
#include <sched.h>
#include <string>
#include <sys/mount.h>
#include <unistd.h>

namespace talvor {
namespace {

Status write_file(const char* path, const std::string& text) {
    const FileDescriptor file = open_file(path, O_WRONLY);
    if (!file.is_open() || !write_all(file.get(), text)) {
        return system_failure(path);
    }
    return {};
}

std::string map_to_itself(unsigned id) {
    return std::to_string(id) + " " + std::to_string(id) + " 1";
}

Status unshare_mounts() {
    if (system_calls.unshare(CLONE_NEWNS) == 0) {
        return {};
    }
    const uid_t user = getuid();
    const gid_t group = getgid();
    if (system_calls.unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) {
        return system_failure("a mount namespace");
    }
    // An unprivileged process may map its group only after giving up setgroups.
    TRY(write_file("/proc/self/setgroups", "deny"));
    TRY(write_file("/proc/self/uid_map", map_to_itself(user)));
    return write_file("/proc/self/gid_map", map_to_itself(group));
}

} // namespace

Status enter_private_shm() {
    TRY(unshare_mounts());
    if (system_calls.mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) {
        return system_failure("making the mounts private");
    }
    if (system_calls.mount("tmpfs", "/dev/shm", "tmpfs", MS_NOSUID | MS_NODEV, "mode=1777") != 0) {
        return system_failure("mounting a private /dev/shm");
    }
    return {};
}

} // namespace talvor
