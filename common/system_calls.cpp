#include "common/system_calls.h"

#include <fcntl.h>
#include <sched.h>
#include <sys/eventfd.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

namespace talvor {

constinit SystemCalls system_calls = {
    .shm_open = ::shm_open,
    .shm_unlink = ::shm_unlink,
    .mmap = ::mmap,
    .munmap = ::munmap,
    .sem_open = [](const char* name, int flags, mode_t mode,
                   unsigned value) { return ::sem_open(name, flags, mode, value); },
    .sem_close = ::sem_close,
    .sem_unlink = ::sem_unlink,
    .sem_wait = ::sem_wait,
    .sem_clockwait = ::sem_clockwait,
    .open = [](const char* path, int flags, mode_t mode) { return ::open(path, flags, mode); },
    .close = ::close,
    .write = ::write,
    .pread = ::pread,
    .fsync = ::fsync,
    .lseek = ::lseek,
    .ftruncate = ::ftruncate,
    .posix_fallocate = ::posix_fallocate,
    .fchmod = ::fchmod,
    .chmod = ::chmod,
    .fstat = ::fstat,
    .stat = ::stat,
    .lstat = ::lstat,
    .unlink = ::unlink,
    .rename = ::rename,
    .flock = ::flock,
    .mkostemp = ::mkostemp,
    .mkdtemp = ::mkdtemp,
    .memfd_create = ::memfd_create,
    .fopen = std::fopen,
    .socket = ::socket,
    .bind = ::bind,
    .listen = ::listen,
    .connect = ::connect,
    .accept4 = ::accept4,
    .send = ::send,
    .recv = ::recv,
    .poll = ::poll,
    .eventfd = ::eventfd,
    .getaddrinfo = ::getaddrinfo,
    .posix_spawnp = ::posix_spawnp,
    .fork = ::fork,
    .waitpid = ::waitpid,
    .sigwait = ::sigwait,
    .unshare = ::unshare,
    .mount = ::mount,
    .start_thread = [](std::function<void()> body) { return std::thread(std::move(body)); },
};

} // namespace talvor
