#include "faulty_os.h"

#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstring>
#include <fcntl.h>
#include <stdexcept>
#include <sys/mman.h>
#include <type_traits>

namespace torture {
namespace {

OsCalls real; // what stood in the table

template <auto member>
FaultPlan plan_of;

// The call that kills the process, of those that are deadly.
struct Doom {
    unsigned calls = 0;
    unsigned at = 0;
    bool behind = false;
};
Doom doom;

// One deadly call, from its beginning to its end.
class DeadlyCall {
public:
    explicit DeadlyCall(const FaultPlan& plan) : kills_(plan.deadly && ++doom.calls == doom.at) {
        if (kills_ && !doom.behind) {
            raise(SIGKILL);
        }
    }
    DeadlyCall(const DeadlyCall&) = delete;
    DeadlyCall& operator=(const DeadlyCall&) = delete;
    ~DeadlyCall() {
        if (kills_) {
            raise(SIGKILL);
        }
    }

private:
    bool kills_;
};

template <auto first, auto second>
constexpr bool kSame = std::is_same_v<std::integral_constant<decltype(first), first>,
                                      std::integral_constant<decltype(second), second>>;

// Calls that give something back do so even when they fail: the kernel closes a descriptor before
// it reports what went wrong with it.
template <auto member>
constexpr bool kPerforms = kSame<member, &OsCalls::close> || kSame<member, &OsCalls::munmap> ||
                           kSame<member, &OsCalls::sem_close>;

template <auto member>
bool fails() {
    FaultPlan& plan = plan_of<member>;
    ++plan.calls;
    if (plan.at == 0 || (plan.lasting ? plan.calls < plan.at : plan.calls != plan.at)) {
        return false;
    }
    errno = plan.error;
    return true;
}

template <auto member, typename Result>
Result failure() {
    if constexpr (kSame<member, &OsCalls::posix_fallocate>) {
        return plan_of<member>.error;
    } else if constexpr (kSame<member, &OsCalls::mmap>) {
        return MAP_FAILED;
    } else if constexpr (std::is_pointer_v<Result>) {
        return nullptr;
    } else {
        return -1;
    }
}

static_assert(SEM_FAILED == nullptr);

template <auto member, typename Call = std::remove_cvref_t<decltype(OsCalls{}.*member)>>
struct Failing;

template <auto member, typename Result, typename... Arguments>
struct Failing<member, Result (*)(Arguments...)> {
    static Result call(Arguments... arguments) {
        const DeadlyCall deadly(plan_of<member>);
        if constexpr (std::is_void_v<Result>) {
            ++plan_of<member>.calls;
            (real.*member)(arguments...);
        } else {
            if (!fails<member>()) {
                return (real.*member)(arguments...);
            }
            if constexpr (kPerforms<member>) {
                (void)(real.*member)(arguments...);
            }
            errno = plan_of<member>.error;
            return failure<member, Result>();
        }
    }
};

sem_t* failing_sem_open(const char* name, int flags, ...) {
    const DeadlyCall deadly(plan_of<&OsCalls::sem_open>);
    if (fails<&OsCalls::sem_open>()) {
        return SEM_FAILED;
    }
    if ((flags & O_CREAT) == 0) {
        return real.sem_open(name, flags);
    }
    va_list arguments;
    va_start(arguments, flags);
    const auto mode = va_arg(arguments, mode_t);
    const auto value = va_arg(arguments, unsigned);
    va_end(arguments);
    return real.sem_open(name, flags, mode, value);
}

int failing_fcntl(int fd, int command, ...) {
    const DeadlyCall deadly(plan_of<&OsCalls::fcntl>);
    va_list arguments;
    va_start(arguments, command);
    auto* const lock = va_arg(arguments, struct flock*);
    va_end(arguments);
    return fails<&OsCalls::fcntl>() ? -1 : real.fcntl(fd, command, lock);
}

template <auto member>
void install() {
    if constexpr (kSame<member, &OsCalls::sem_open>) {
        os_calls.sem_open = failing_sem_open;
    } else if constexpr (kSame<member, &OsCalls::fcntl>) {
        os_calls.fcntl = failing_fcntl;
    } else {
        os_calls.*member = Failing<member>::call;
    }
}

#define ENTRY(call, ...)                                                                           \
    OsEntry {                                                                                      \
#call, offsetof(OsCalls, call) / sizeof(void*), install < &OsCalls::call>,                 \
            plan_of < &OsCalls::call>, {                                                           \
            __VA_ARGS__                                                                            \
        }                                                                                          \
    }

} // namespace

std::span<const OsEntry> os_entries() {
    static const std::vector<OsEntry> entries = {
        ENTRY(malloc, ENOMEM),
        ENTRY(realloc, ENOMEM),
        ENTRY(free),
        ENTRY(shm_open, EACCES, EEXIST, EINVAL, EMFILE, ENAMETOOLONG, ENFILE, ENOENT),
        ENTRY(shm_unlink, EACCES, ENAMETOOLONG, ENOENT),
        ENTRY(ftruncate, EBADF, EFBIG, EINTR, EINVAL, EIO, EPERM, EROFS, ETXTBSY),
        ENTRY(fstat, EACCES, EBADF, EFAULT, ENOMEM, EOVERFLOW),
        ENTRY(mmap, EACCES, EAGAIN, EBADF, EEXIST, EINVAL, ENFILE, ENODEV, ENOMEM, EOVERFLOW, EPERM,
              ETXTBSY),
        ENTRY(munmap, EINVAL, ENOMEM),
        ENTRY(close, EBADF, EDQUOT, EINTR, EIO, ENOSPC),
        ENTRY(sem_open, EACCES, EEXIST, EINVAL, EMFILE, ENAMETOOLONG, ENFILE, ENOENT, ENOMEM),
        ENTRY(sem_close, EINVAL),
        ENTRY(sem_wait, EINTR, EINVAL),
        ENTRY(sem_timedwait, EINTR, EINVAL, ETIMEDOUT),
        ENTRY(sem_post, EINVAL, EOVERFLOW),
        ENTRY(sched_yield), // cannot fail here
        ENTRY(clock_gettime, EFAULT, EINVAL, ENODEV, ENOTSUP, EPERM),
        ENTRY(usleep, EINTR, EINVAL),
        ENTRY(fcntl, EACCES, EAGAIN, EBADF, EDEADLK, EFAULT, EINTR, EINVAL, ENOLCK),
        ENTRY(pwrite, EAGAIN, EBADF, EDESTADDRREQ, EDQUOT, EFAULT, EFBIG, EINTR, EINVAL, EIO,
              ENOSPC, EPERM, EPIPE, ESPIPE),
        ENTRY(posix_fallocate, EBADF, EFBIG, EINTR, EINVAL, ENODEV, ENOSPC, EOPNOTSUPP, ESPIPE),
        ENTRY(fchmod, EACCES, EBADF, EFAULT, EIO, ENOMEM, EPERM, EROFS),
    };
    return entries;
}

const OsEntry& os_entry(const char* name) {
    for (const OsEntry& entry : os_entries()) {
        if (std::strcmp(entry.name, name) == 0) {
            return entry;
        }
    }
    throw std::runtime_error(std::string("no system call ") + name);
}

FaultyOs::FaultyOs() {
    real = os_calls;
    for (const OsEntry& entry : os_entries()) {
        entry.install();
    }
    clear();
}

void FaultyOs::set(const OsEntry& entry, unsigned at, int error, bool lasting) {
    entry.plan =
        FaultPlan{.deadly = false, .calls = 0, .at = at, .lasting = lasting, .error = error};
    last_ = &entry;
}

void FaultyOs::kill_at(unsigned at, bool behind, bool (*counts)(const OsEntry& entry)) {
    doom = Doom{.calls = 0, .at = at, .behind = behind};
    for (const OsEntry& entry : os_entries()) {
        entry.plan.deadly = counts(entry);
    }
}

bool FaultyOs::clear() {
    const bool hit = last_ != nullptr && last_->plan.hit();
    for (const OsEntry& entry : os_entries()) {
        entry.plan = FaultPlan{};
    }
    return hit;
}

} // namespace torture
