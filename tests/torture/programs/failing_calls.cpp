#include "failing_calls.h"

#include <fmt/format.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <sys/mman.h>
#include <system_error>
#include <type_traits>

namespace torture {
namespace {

using talvor::system_calls;
using talvor::SystemCalls;

constexpr size_t kMostEntries = 100;
constexpr int kErrnoOfSystem = EMFILE; // with EAI_SYSTEM

std::optional<Fault> g_fault;
std::array<std::atomic<unsigned>, kMostEntries> g_calls{};
std::atomic<bool> g_met{false};

bool strikes(size_t entry) {
    const unsigned call = ++g_calls[entry];
    const bool struck = g_fault && entry == g_fault->entry &&
                        (g_fault->lasting ? call >= g_fault->call : call == g_fault->call);
    if (struck) {
        g_met = true;
    }
    return struck;
}

// What the call of a failure's result type answers, unless it answers the error itself.
template <typename Result>
Result refused() {
    errno = g_fault->error;
    if constexpr (std::is_same_v<Result, void*>) {
        return MAP_FAILED;
    } else if constexpr (std::is_pointer_v<Result>) {
        return nullptr; // SEM_FAILED too
    } else if constexpr (std::is_same_v<Result, std::thread>) {
        throw std::system_error(g_fault->error, std::generic_category());
    } else {
        return -1;
    }
}

// How an entry says no.
enum class Manner {
    Errno,  // by -1 or a null pointer, and errno
    Answer, // the error is its answer
    After,  // as Errno, but what it does is done
};

template <size_t Index, auto Member, Manner kManner>
struct Wrapped;

template <size_t Index, typename Result, typename... Arguments,
          Result (*SystemCalls::*Member)(Arguments...), Manner kManner>
struct Wrapped<Index, Member, kManner> {
    static inline Result (*real)(Arguments...) = nullptr;

    static Result call(Arguments... arguments) {
        if (!strikes(Index)) {
            return real(std::forward<Arguments>(arguments)...);
        }
        if constexpr (kManner == Manner::Answer) {
            errno = kErrnoOfSystem;
            return g_fault->error;
        } else {
            if constexpr (kManner == Manner::After) {
                real(std::forward<Arguments>(arguments)...);
            }
            return refused<Result>();
        }
    }

    static void wrap() {
        real = system_calls.*Member;
        system_calls.*Member = call;
    }
};

template <size_t Index, auto Member, Manner kManner = Manner::Errno>
Entry entry(std::string name, std::vector<int> errors) {
    return {std::move(name), std::move(errors), &Wrapped<Index, Member, kManner>::wrap};
}

} // namespace

#define TORTURE_ENTRY(name, ...)                                                                   \
    entry<__COUNTER__ - kFirst, &SystemCalls::name>(#name, std::vector<int>{__VA_ARGS__})
#define TORTURE_ENTRY_AS(manner, name, ...)                                                        \
    entry<__COUNTER__ - kFirst, &SystemCalls::name, Manner::manner>(#name,                         \
                                                                    std::vector<int>{__VA_ARGS__})

const std::vector<Entry>& entries() {
    constexpr size_t kFirst = __COUNTER__ + 1;
    static const std::vector<Entry> all = {
        TORTURE_ENTRY(shm_open, EACCES, EMFILE, ENFILE, ENOSPC, ENOMEM),
        TORTURE_ENTRY(shm_unlink, EACCES, ENOENT),
        TORTURE_ENTRY(mmap, ENOMEM, EACCES, EAGAIN, ENFILE, EPERM),
        TORTURE_ENTRY(munmap, ENOMEM),
        TORTURE_ENTRY(sem_open, EINTR, ENOSPC, EACCES, EEXIST, EMFILE, ENFILE, ENOMEM),
        TORTURE_ENTRY_AS(After, sem_close),
        TORTURE_ENTRY(sem_unlink, EACCES, ENOENT),
        TORTURE_ENTRY(sem_wait, EINTR),
        TORTURE_ENTRY(sem_clockwait, EINTR, ETIMEDOUT),
        TORTURE_ENTRY(open, EINTR, EACCES, EMFILE, ENFILE, ENOENT, ENOMEM, ENOSPC, EROFS),
        TORTURE_ENTRY_AS(After, close, EINTR, EIO, ENOSPC, EDQUOT),
        TORTURE_ENTRY(write, EINTR, ENOSPC, EDQUOT, EFBIG, EIO, EPIPE),
        TORTURE_ENTRY(pread, EINTR, EIO),
        TORTURE_ENTRY(fsync, EINTR, EIO, ENOSPC, EDQUOT),
        TORTURE_ENTRY(lseek, EOVERFLOW),
        TORTURE_ENTRY(ftruncate, EINTR, EFBIG, EIO, EPERM),
        TORTURE_ENTRY_AS(Answer, posix_fallocate, EINTR, ENOSPC, EFBIG, EIO),
        TORTURE_ENTRY(fchmod, EPERM, EIO, EROFS),
        TORTURE_ENTRY(chmod, EPERM, EACCES, EIO, ENOENT, EROFS),
        TORTURE_ENTRY(fstat, ENOMEM, EOVERFLOW),
        TORTURE_ENTRY(stat, EACCES, ENOENT, ENOMEM, EOVERFLOW),
        TORTURE_ENTRY(lstat, EACCES, ENOENT, ENOMEM, EOVERFLOW),
        TORTURE_ENTRY(unlink, EACCES, EBUSY, EIO, ENOENT, EPERM, EROFS),
        TORTURE_ENTRY(rename, EACCES, EBUSY, EDQUOT, ENOSPC, EROFS),
        TORTURE_ENTRY(flock, EINTR, ENOLCK, EWOULDBLOCK),
        TORTURE_ENTRY(mkostemp, EINTR, EACCES, EEXIST, EMFILE, ENOSPC),
        TORTURE_ENTRY(mkdtemp, EACCES, EDQUOT, ENOSPC, EROFS),
        TORTURE_ENTRY(memfd_create, EMFILE, ENFILE, ENOMEM),
        TORTURE_ENTRY(fopen, EINTR, EACCES, EMFILE, ENOSPC, ENOMEM),
        TORTURE_ENTRY(socket, EACCES, EMFILE, ENFILE, ENOBUFS, ENOMEM),
        TORTURE_ENTRY(bind, EACCES, EADDRINUSE, ENOMEM, ENOSPC, EROFS),
        TORTURE_ENTRY(listen, EADDRINUSE),
        TORTURE_ENTRY(connect, EINTR, EACCES, EAGAIN, ECONNREFUSED, ENETUNREACH, ETIMEDOUT),
        TORTURE_ENTRY(accept4, EINTR, ECONNABORTED, EMFILE, ENFILE, ENOBUFS, ENOMEM, EPERM),
        TORTURE_ENTRY(send, EINTR, ECONNRESET, ENOBUFS, ENOMEM, EPIPE),
        TORTURE_ENTRY(recv, EINTR, ECONNRESET, ENOMEM),
        TORTURE_ENTRY(poll, EINTR, ENOMEM),
        TORTURE_ENTRY(eventfd, EMFILE, ENFILE, ENODEV, ENOMEM),
        TORTURE_ENTRY_AS(Answer, getaddrinfo, EAI_AGAIN, EAI_FAIL, EAI_MEMORY, EAI_NONAME,
                         EAI_SYSTEM),
        TORTURE_ENTRY_AS(Answer, posix_spawnp, EAGAIN, ENOMEM, ENOENT, EACCES),
        TORTURE_ENTRY(fork, EAGAIN, ENOMEM),
        TORTURE_ENTRY(waitpid, EINTR, ECHILD),
        TORTURE_ENTRY_AS(Answer, sigwait),
        TORTURE_ENTRY(unshare, EPERM, ENOMEM, ENOSPC, EUSERS),
        TORTURE_ENTRY(mount, EPERM, EACCES, EBUSY, ENOMEM),
        TORTURE_ENTRY(start_thread, EAGAIN),
    };
    return all;
}

std::string reason_of(const Fault& fault) {
    switch (fault.error) {
    case EAI_SYSTEM:
        return std::strerror(kErrnoOfSystem);
    case EAI_MEMORY:
        return std::strerror(ENOMEM);
    default:
        return fault.error < 0 ? gai_strerror(fault.error) : std::strerror(fault.error);
    }
}

std::string text_of(const Fault& fault) {
    return fmt::format("{}, call {}: {}{}", entries()[fault.entry].name, fault.call,
                       reason_of(fault), fault.lasting ? " (from then on)" : "");
}

void watch(const std::optional<Fault>& fault) {
    g_fault = fault;
    for (const Entry& entry : entries()) {
        entry.wrap();
    }
}

bool met() {
    return g_met;
}

unsigned calls(size_t entry) {
    return g_calls[entry];
}

} // namespace torture
