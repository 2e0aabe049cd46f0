#include "transport/share_mark.h"

#include "sys/os.h"
#include "transport/object_lock.h"
#include "transport/shared_field.h"

#include <cerrno>

namespace {

constexpr off_t kGateByte = kShareMarkOffset + offsetof(ShareMark, gate);
constexpr off_t kHoldByte = kShareMarkOffset + offsetof(ShareMark, hold);

static_assert(kHoldByte == kGateByte + 1);

ObjectBytes gate_of(int fd) {
    return {.fd = fd, .first = kGateByte, .count = 1};
}

ObjectBytes hold_of(int fd) {
    return {.fd = fd, .first = kHoldByte, .count = 1};
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
    return object_wait_lock(gate_of(fd));
}

void share_leave_gate(int fd) {
    object_unlock(gate_of(fd));
}

void share_let_go(int fd) {
    object_unlock({.fd = fd, .first = kGateByte, .count = 2});
}

bool share_hold(int fd) {
    return object_try_lock(hold_of(fd), ObjectLock::Shared);
}

bool share_is_alone(int fd) {
    return object_is_free(hold_of(fd));
}
