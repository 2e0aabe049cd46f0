#include "support/private_shm.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sched.h>
#include <string>
#include <sys/file.h>
#include <sys/mount.h>
#include <unistd.h>

namespace test_support {
namespace {

bool write_file(const char* path, const std::string& text) {
    const int fd = open(path, O_WRONLY | O_CLOEXEC);
    if (fd < 0) {
        return false;
    }
    const bool written = write(fd, text.data(), text.size()) == static_cast<ssize_t>(text.size());
    close(fd);
    return written;
}

// A user namespace gives an unprivileged user the right to a mount namespace, where allowed.
bool unshare_mounts() {
    if (unshare(CLONE_NEWNS) == 0) {
        return true;
    }
    const uid_t user = getuid();
    const gid_t group = getgid();
    if (unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) {
        return false;
    }
    write_file("/proc/self/setgroups", "deny");
    return write_file("/proc/self/uid_map", "0 " + std::to_string(user) + " 1") &&
           write_file("/proc/self/gid_map", "0 " + std::to_string(group) + " 1");
}

bool mount_private_shm() {
    return unshare_mounts() && mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
           mount("tmpfs", "/dev/shm", "tmpfs", MS_NOSUID | MS_NODEV, "mode=1777") == 0;
}

} // namespace

ShmPrivacy enter_private_shm() {
    if (mount_private_shm()) {
        return ShmPrivacy::Private;
    }
    // The descriptor stays open until the process ends, and the lock with it.
    const int lock = open("/tmp/talvor_tests.lock", O_RDWR | O_CREAT | O_CLOEXEC, 0666);
    if (lock < 0 || flock(lock, LOCK_EX) != 0) {
        std::fprintf(stderr, "cannot lock /tmp/talvor_tests.lock: %s\n", std::strerror(errno));
        std::exit(1);
    }
    if (access("/dev/shm/talvor_proxy_gbl_shm_object", F_OK) == 0) {
        std::fprintf(stderr, "a pod proxy's objects stand in /dev/shm and this user may not have a "
                             "private one; stop the proxy, or run the tests as root\n");
        std::exit(1);
    }
    return ShmPrivacy::Locked;
}

} // namespace test_support
