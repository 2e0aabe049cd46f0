// The calls to the operating system that simulator, host library and tool make, behind one table: a
// test replaces an entry to make that call fail or to watch it, and nothing else changes.
#pragma once

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <ctime>
#include <functional>
#include <netdb.h>
#include <poll.h>
#include <semaphore.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <thread>

namespace talvor {

// Each member has the signature, the result and the errno of the call of its name; what C passes
// after "..." is always given. Not in it: what cannot fail when called rightly (getpid, closing
// what is being left), and what a worker does between two batches (sem_post, sem_trywait,
// sem_getvalue), whose one failure is a semaphore that is none.
struct SystemCalls {
    // Shared memory.
    int (*shm_open)(const char* name, int flags, mode_t mode);
    int (*shm_unlink)(const char* name);
    void* (*mmap)(void* address, size_t length, int protection, int flags, int fd, off_t offset);
    int (*munmap)(void* address, size_t length);
    // Named semaphores.
    sem_t* (*sem_open)(const char* name, int flags, mode_t mode, unsigned value);
    int (*sem_close)(sem_t* semaphore);
    int (*sem_unlink)(const char* name);
    int (*sem_wait)(sem_t* semaphore);
    int (*sem_clockwait)(sem_t* semaphore, clockid_t clock, const timespec* deadline);
    // Files.
    int (*open)(const char* path, int flags, mode_t mode);
    int (*close)(int fd);
    ssize_t (*write)(int fd, const void* bytes, size_t count);
    ssize_t (*pread)(int fd, void* bytes, size_t count, off_t offset);
    int (*fsync)(int fd);
    off_t (*lseek)(int fd, off_t offset, int whence);
    int (*ftruncate)(int fd, off_t length);
    int (*posix_fallocate)(int fd, off_t offset, off_t length); // answers the errno itself
    int (*fchmod)(int fd, mode_t mode);
    int (*chmod)(const char* path, mode_t mode);
    int (*fstat)(int fd, struct stat* facts);
    int (*stat)(const char* path, struct stat* facts);
    int (*lstat)(const char* path, struct stat* facts);
    int (*unlink)(const char* path);
    int (*rename)(const char* from, const char* to);
    int (*flock)(int fd, int operation);
    int (*mkostemp)(char* pattern, int flags);
    char* (*mkdtemp)(char* pattern);
    int (*memfd_create)(const char* name, unsigned flags);
    std::FILE* (*fopen)(const char* path, const char* mode);
    // Sockets.
    int (*socket)(int domain, int type, int protocol);
    int (*bind)(int fd, const sockaddr* address, socklen_t size);
    int (*listen)(int fd, int backlog);
    int (*connect)(int fd, const sockaddr* address, socklen_t size);
    int (*accept4)(int fd, sockaddr* address, socklen_t* size, int flags);
    ssize_t (*send)(int fd, const void* bytes, size_t count, int flags);
    ssize_t (*recv)(int fd, void* bytes, size_t count, int flags);
    int (*poll)(pollfd* waits, nfds_t count, int patience_ms);
    int (*eventfd)(unsigned value, int flags);
    int (*getaddrinfo)(const char* host, const char* service, const addrinfo* hints,
                       addrinfo** found); // answers an EAI_ code
    // Processes and threads.
    int (*posix_spawnp)(pid_t* child, const char* file, const posix_spawn_file_actions_t* actions,
                        const posix_spawnattr_t* attributes, char* const* arguments,
                        char* const* environment); // answers the errno itself
    pid_t (*fork)();
    pid_t (*waitpid)(pid_t child, int* status, int options);
    int (*sigwait)(const sigset_t* signals, int* signal); // answers the errno itself
    int (*unshare)(int flags);
    int (*mount)(const char* source, const char* target, const char* type, unsigned long flags,
                 const void* data);
    std::thread (*start_thread)(std::function<void()> body); // throws std::system_error
};

// The table in use. It holds the C library's own calls from the start of the program on; only tests
// write to it, and only before other threads run.
extern constinit SystemCalls system_calls;

// Makes a call that answers -1 and sets errno until no signal interrupts it.
template <typename Call>
auto past_interrupts(Call call) noexcept(noexcept(call())) {
    for (;;) {
        const auto result = call();
        if (result != -1 || errno != EINTR) {
            return result;
        }
    }
}

} // namespace talvor
