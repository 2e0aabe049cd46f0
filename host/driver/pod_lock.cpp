#include "host/driver/pod_lock.h"

#include "common/interrupt.h"
#include "common/process.h"
#include "common/text.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>

namespace talvor {
namespace {

using Clock = std::chrono::steady_clock;

// The kernel has no wait for such a lock with an end to it.
constexpr std::chrono::milliseconds kLookEvery{50};
constexpr const char* kInUseStep =
    "wait for it with --wait SECONDS, or go on beside it with --share";

// One attempt: the lock, or who has it.
struct Attempt {
    FileDescriptor file;  // open: locked
    bool missing = false; // there is no block, for now
    std::string user;     // who has the lock, in words
};

std::string user_text(std::optional<pid_t> process) {
    if (!process) {
        return "used by a host that cannot be seen from here, in another PID namespace perhaps";
    }
    const std::string command = process_command(*process);
    std::string text = command.empty()
                           ? fmt::format("used by process {}", *process)
                           : fmt::format("used by `{}` (process {})", command, *process);
    if (const auto start = process_start(*process)) {
        text += " since " + time_of_day_text(*start, std::chrono::system_clock::now());
    }
    return text;
}

// Whether the object that is open as `file` still has the name.
bool has_name(const FileDescriptor& file, const std::string& name) {
    const FileDescriptor named(shm_open(name.c_str(), O_RDONLY | O_CLOEXEC, 0));
    struct stat ours {};
    struct stat theirs {};
    return named.is_open() && fstat(file.get(), &ours) == 0 && fstat(named.get(), &theirs) == 0 &&
           ours.st_dev == theirs.st_dev && ours.st_ino == theirs.st_ino;
}

Result<Attempt> attempt(const PodRecord& record) {
    for (;;) {
        FileDescriptor file(shm_open(record.block_name.c_str(), O_RDONLY | O_CLOEXEC, 0));
        if (!file.is_open()) {
            return Attempt{.file = FileDescriptor(), .missing = true, .user = {}};
        }
        if (flock(file.get(), LOCK_EX | LOCK_NB) != 0) {
            if (errno != EWOULDBLOCK) {
                return pod_error(fmt::format("pod {}", record.serial),
                                 fmt::format("its block {} cannot be locked: {}", record.block_name,
                                             std::strerror(errno)));
            }
            return Attempt{.file = FileDescriptor(), .user = user_text(flock_holder(file.get()))};
        }
        // A proxy that was started anew in this moment has made another block of that name.
        if (has_name(file, record.block_name)) {
            return Attempt{.file = std::move(file), .user = {}};
        }
    }
}

Failure not_locked(const PodRecord& record, const Attempt& last, const PodLockOptions& options) {
    const std::string pod = fmt::format("pod {}", record.serial);
    if (last.missing) {
        return pod_error(pod, fmt::format("its block {} is gone", record.block_name),
                         "start the proxy again");
    }
    if (options.wait.count() == 0) {
        return refused_error(pod, last.user, kInUseStep);
    }
    return refused_error(
        pod,
        fmt::format("{}; it was not let go within {}", last.user,
                    seconds_text(std::chrono::duration<double>(options.wait).count())),
        kInUseStep);
}

} // namespace

Result<PodLock> PodLock::take(const PodRecord& record, const PodLockOptions& options) {
    const Clock::time_point end = Clock::now() + options.wait;
    PodLock lock;
    for (;;) {
        Attempt tried = TRY(attempt(record));
        if (tried.file.is_open()) {
            lock.file_ = std::move(tried.file);
            return lock;
        }
        const auto left = end - Clock::now();
        if (left <= Clock::duration(0)) {
            if (options.share && !tried.missing) {
                lock.shared_with_ = std::move(tried.user);
                return lock;
            }
            return not_locked(record, tried, options);
        }
        if (!std::exchange(lock.waited_, true) && options.on_wait && !tried.missing) {
            options.on_wait(tried.user);
        }
        sleep_unless_interrupted(std::min<Clock::duration>(left, kLookEvery));
        TRY(check_interrupt());
    }
}

} // namespace talvor
