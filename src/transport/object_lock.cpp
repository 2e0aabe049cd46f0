#include "transport/object_lock.h"

#include "sys/os.h"

#include <cerrno>
#include <fcntl.h>

namespace {

struct flock lock_of(const ObjectBytes& bytes, short type) {
    struct flock lock {};
    lock.l_type = type;
    lock.l_whence = SEEK_SET;
    lock.l_start = bytes.first;
    lock.l_len = bytes.count;
    return lock;
}

bool set_lock(int fd, int command, struct flock lock) {
    int result = 0;
    do {
        result = os_calls.fcntl(fd, command, &lock);
    } while (result != 0 && errno == EINTR);
    return result == 0;
}

} // namespace

bool object_try_lock(const ObjectBytes& bytes, ObjectLock kind) {
    const short type = kind == ObjectLock::Shared ? F_RDLCK : F_WRLCK;
    return set_lock(bytes.fd, F_OFD_SETLK, lock_of(bytes, type));
}

bool object_wait_lock(const ObjectBytes& bytes) {
    return set_lock(bytes.fd, F_OFD_SETLKW, lock_of(bytes, F_WRLCK));
}

void object_unlock(const ObjectBytes& bytes) {
    (void)set_lock(bytes.fd, F_OFD_SETLK, lock_of(bytes, F_UNLCK));
}

bool object_is_free(const ObjectBytes& bytes) {
    struct flock lock = lock_of(bytes, F_WRLCK);
    return os_calls.fcntl(bytes.fd, F_OFD_GETLK, &lock) == 0 && lock.l_type == F_UNLCK;
}
