#include "support/private_shm.h"

#include "common/private_shm.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

namespace test_support {

ShmPrivacy enter_private_shm() {
    if (talvor::enter_private_shm()) {
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
