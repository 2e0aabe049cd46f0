// Loaded into the simulator before all else (LD_PRELOAD): kills it at its n-th call of those by
// which others see what it does, where n is TALVOR_TEST_KILL_AT.
#include <atomic>
#include <csignal>
#include <cstdarg>
#include <cstdlib>
#include <dlfcn.h>
#include <fcntl.h>
#include <semaphore.h>
#include <sys/mman.h>
#include <unistd.h>

namespace {

std::atomic<long> calls{0};

void step() {
    static const char* const text = std::getenv("TALVOR_TEST_KILL_AT");
    static const long at = text == nullptr ? 0 : std::atol(text);
    if (++calls == at) {
        raise(SIGKILL);
    }
}

template <typename Call>
Call next(const char* name) {
    return reinterpret_cast<Call>(dlsym(RTLD_NEXT, name));
}

} // namespace

#define STEP(result, name, parameters, arguments)                                                  \
    extern "C" __attribute__((visibility("default"))) result name parameters {                     \
        static const auto real = next<result(*) parameters>(#name);                                \
        step();                                                                                    \
        return real arguments;                                                                     \
    }

STEP(int, shm_open, (const char* path, int flags, mode_t mode), (path, flags, mode))
STEP(int, shm_unlink, (const char* path), (path))
STEP(int, ftruncate, (int fd, off_t length), (fd, length))
STEP(int, posix_fallocate, (int fd, off_t offset, off_t length), (fd, offset, length))
STEP(int, fchmod, (int fd, mode_t mode), (fd, mode))
STEP(int, unlink, (const char* path), (path))
STEP(int, sem_unlink, (const char* path), (path))
STEP(int, sem_close, (sem_t * semaphore), (semaphore))
STEP(int, sem_wait, (sem_t * semaphore), (semaphore))
STEP(int, sem_timedwait, (sem_t * semaphore, const timespec* deadline), (semaphore, deadline))
STEP(int, sem_post, (sem_t * semaphore), (semaphore))

// Mode and value follow the flags when the semaphore is to be created.
extern "C" __attribute__((visibility("default"))) sem_t* sem_open(const char* name, int flags,
                                                                  ...) {
    using Call = sem_t* (*)(const char*, int, ...);
    static const auto real = next<Call>("sem_open");
    step();
    if ((flags & O_CREAT) == 0) {
        return real(name, flags);
    }
    va_list arguments;
    va_start(arguments, flags);
    const auto mode = va_arg(arguments, mode_t);
    const auto value = va_arg(arguments, unsigned);
    va_end(arguments);
    return real(name, flags, mode, value);
}
