#include "sys/os.h"

#include <cstdlib>
#include <fcntl.h>
#include <sched.h>
#include <sys/mman.h>
#include <unistd.h>

constinit OsCalls os_calls = {
    .malloc = ::malloc,
    .realloc = ::realloc,
    .free = ::free,
    .shm_open = ::shm_open,
    .shm_unlink = ::shm_unlink,
    .ftruncate = ::ftruncate,
    .fstat = ::fstat,
    .mmap = ::mmap,
    .munmap = ::munmap,
    .close = ::close,
    .sem_open = ::sem_open,
    .sem_close = ::sem_close,
    .sem_wait = ::sem_wait,
    .sem_timedwait = ::sem_timedwait,
    .sem_post = ::sem_post,
    .sched_yield = ::sched_yield,
    .clock_gettime = ::clock_gettime,
    .usleep = ::usleep,
    .fcntl = ::fcntl,
    .pwrite = ::pwrite,
    .posix_fallocate = ::posix_fallocate,
    .fchmod = ::fchmod,
};
