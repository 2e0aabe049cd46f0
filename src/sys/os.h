// The calls to the operating system and the heap that the driver makes, behind one table: a test
// replaces an entry to make that call fail or to watch it, and nothing else changes.
#pragma once

#include <cstddef>
#include <semaphore.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <time.h>

// Each member has the signature, the result and the errno of the call of its name.
struct OsCalls {
    // Heap.
    void* (*malloc)(size_t size);
    void* (*realloc)(void* block, size_t size);
    void (*free)(void* block);
    // Shared memory.
    int (*shm_open)(const char* name, int flags, mode_t mode);
    int (*shm_unlink)(const char* name);
    int (*ftruncate)(int fd, off_t length);
    int (*fstat)(int fd, struct stat* status);
    void* (*mmap)(void* address, size_t length, int protection, int flags, int fd, off_t offset);
    int (*munmap)(void* address, size_t length);
    int (*close)(int fd);
    // Named semaphores; mode and value follow the flags when O_CREAT is among them.
    sem_t* (*sem_open)(const char* name, int flags, ...);
    int (*sem_close)(sem_t* semaphore);
    int (*sem_wait)(sem_t* semaphore);
    int (*sem_timedwait)(sem_t* semaphore, const struct timespec* deadline);
    int (*sem_post)(sem_t* semaphore);
    // Scheduling.
    int (*sched_yield)();
    // Time.
    int (*clock_gettime)(clockid_t clock, struct timespec* now);
    int (*usleep)(useconds_t delay_us);
    // Files behind a descriptor; what goes with the command of fcntl follows it.
    int (*fcntl)(int fd, int command, ...);
    ssize_t (*pwrite)(int fd, const void* bytes, size_t count, off_t offset);
    int (*posix_fallocate)(int fd, off_t offset, off_t length); // answers the errno itself
    int (*fchmod)(int fd, mode_t mode);
};

// The table in use. It holds the C library's own calls from the start of the program on; only tests
// write to it (tests/support/failing_os.h).
extern constinit OsCalls os_calls;
