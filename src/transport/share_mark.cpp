#include "transport/share_mark.h"

#include "sys/os.h"
#include "transport/shared_field.h"

#include <cerrno>
#include <fcntl.h>

namespace {

constexpr off_t kGateByte = kShareMarkOffset + offsetof(ShareMark, gate);
constexpr off_t kHoldByte = kShareMarkOffset + offsetof(ShareMark, hold);

static_assert(kHoldByte == kGateByte + 1);

struct flock lock_of(off_t byte, off_t bytes, short type) {
    struct flock lock {};
    lock.l_type = type;
    lock.l_whence = SEEK_SET;
    lock.l_start = byte;
    lock.l_len = bytes;
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

ShareMark& share_mark(void* object) {
    return *reinterpret_cast<ShareMark*>(static_cast<uint8_t*>(object) + kShareMarkOffset);
}

bool share_is_marked(void* object) {
    return shared_read(share_mark(object).text) == kShareMarkText;
}

bool share_counts_others(void* object, uint32_t attach_count) {
    return uint64_t{attach_count} + 1 > shared_read(share_mark(object).users);
}

bool share_is_of_other_pod(void* object, const PodIdentity& pod) {
    PodIdentity& stored = share_mark(object).pod;
    const uint64_t inode = shared_read(stored.inode);
    if (inode == 0 || pod.inode == 0) {
        return false;
    }
    return inode != pod.inode || shared_read(stored.device) != pod.device ||
           shared_read(stored.serial) != pod.serial || shared_read(stored.revision) != pod.revision;
}

bool share_write_mark(int fd, const PodIdentity& pod) {
    const ShareMark mark{
        .text = kShareMarkText, .pod = pod, .users = 1, .gate = 0, .hold = 0, .spare = {}};
    ssize_t written = 0;
    do {
        written = os_calls.pwrite(fd, &mark, sizeof mark, kShareMarkOffset);
    } while (written < 0 && errno == EINTR);
    return written == ssize_t{sizeof mark};
}

bool share_enter_gate(int fd) {
    return set_lock(fd, F_OFD_SETLKW, lock_of(kGateByte, 1, F_WRLCK));
}

void share_leave_gate(int fd) {
    (void)set_lock(fd, F_OFD_SETLK, lock_of(kGateByte, 1, F_UNLCK));
}

void share_let_go(int fd) {
    (void)set_lock(fd, F_OFD_SETLK, lock_of(kGateByte, 2, F_UNLCK));
}

bool share_hold(int fd) {
    return set_lock(fd, F_OFD_SETLK, lock_of(kHoldByte, 1, F_RDLCK));
}

bool share_is_alone(int fd) {
    struct flock lock = lock_of(kHoldByte, 1, F_WRLCK);
    return os_calls.fcntl(fd, F_OFD_GETLK, &lock) == 0 && lock.l_type == F_UNLCK;
}
