#include "podsim/privacy/private_shm.h"

#include "podsim/base/system_error.h"

#include <fcntl.h>
#include <sched.h>
#include <string>
#include <sys/mount.h>
#include <unistd.h>

namespace podsim {
namespace {

Status write_file(const char* path, const std::string& text) {
    const int fd = open(path, O_WRONLY | O_CLOEXEC);
    if (fd < 0) {
        return system_failure(path);
    }
    const bool written = write(fd, text.data(), text.size()) == static_cast<ssize_t>(text.size());
    Status status = written ? Status() : system_failure(path);
    close(fd);
    return status;
}

std::string map_to_itself(unsigned id) {
    return std::to_string(id) + " " + std::to_string(id) + " 1";
}

Status unshare_mounts() {
    if (unshare(CLONE_NEWNS) == 0) {
        return {};
    }
    const uid_t user = getuid();
    const gid_t group = getgid();
    if (unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) {
        return system_failure("a mount namespace");
    }
    // An unprivileged process may map its group only after giving up setgroups.
    if (Status denied = write_file("/proc/self/setgroups", "deny"); denied.failed()) {
        return denied;
    }
    if (Status mapped = write_file("/proc/self/uid_map", map_to_itself(user)); mapped.failed()) {
        return mapped;
    }
    return write_file("/proc/self/gid_map", map_to_itself(group));
}

} // namespace

Status enter_private_shm() {
    if (Status unshared = unshare_mounts(); unshared.failed()) {
        return unshared;
    }
    if (mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) {
        return system_failure("making the mounts private");
    }
    if (mount("tmpfs", "/dev/shm", "tmpfs", MS_NOSUID | MS_NODEV, "mode=1777") != 0) {
        return system_failure("mounting a private /dev/shm");
    }
    return {};
}

} // namespace podsim
