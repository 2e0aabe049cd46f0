#include "podsim/proxy/ownership.h"

#include "common/result.h"
#include "common/system_calls.h"
#include "podsim/proxy/names.h"
#include "podsim/proxy/shm_error.h"
#include "shm_structs.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <semaphore.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace talvor::podsim::proxy {
namespace {

// Opens the lock file, made if absent. First without O_CREAT: in a sticky directory the kernel may
// refuse O_CREAT on another user's file even where plain opening is allowed.
FileDescriptor open_lock_file() {
    FileDescriptor found = open_file(SHM_OWNER_LOCK_PATH, O_RDWR | O_NOFOLLOW);
    if (found.is_open() || errno != ENOENT) {
        return found;
    }
    FileDescriptor made =
        open_file(SHM_OWNER_LOCK_PATH, O_RDWR | O_CREAT | O_NOFOLLOW, SHM_OBJECT_MODE);
    if (made.is_open()) {
        system_calls.fchmod(made.get(), SHM_OBJECT_MODE);
    }
    return made;
}

// Takes the lock, unless somebody has it.
bool locked(int fd) {
    return past_interrupts([=] { return system_calls.flock(fd, LOCK_EX | LOCK_NB); }) == 0;
}

// The file that was locked may have been removed by its last owner meanwhile.
Result<bool> still_named(int fd) {
    struct stat opened {};
    struct stat named {};
    if (system_calls.fstat(fd, &opened) == 0 &&
        system_calls.stat(SHM_OWNER_LOCK_PATH, &named) == 0) {
        return opened.st_dev == named.st_dev && opened.st_ino == named.st_ino;
    }
    if (errno != ENOENT) {
        return system_failure("looking at " SHM_OWNER_LOCK_PATH);
    }
    return false;
}

std::string owner_text(int fd) {
    std::array<char, 16> text{};
    const ssize_t length =
        past_interrupts([&] { return system_calls.pread(fd, text.data(), text.size() - 1, 0); });
    const std::string digits(text.data(), length > 0 ? static_cast<size_t>(length) : 0);
    return digits.substr(0, digits.find_first_not_of("0123456789"));
}

Failure live_owner(int fd) {
    const std::string process = owner_text(fd);
    return failure("a pod proxy already serves this machine" +
                   (process.empty() ? std::string() : " (process " + process + ")") +
                   "; stop it first, or use --private");
}

Status removed(int result, const std::string& name, const std::string& path) {
    if (result == 0 || errno == ENOENT) {
        return {};
    }
    return shm_failure("removing the stale object " + name, path);
}

// A private copy of a stale table; nothing when there is none or it is no table.
std::unique_ptr<gbl_shm> stale_table() {
    const FileDescriptor fd(system_calls.shm_open(SHM_DEVICE_TABLE_NAME, O_RDONLY, 0));
    if (!fd.is_open()) {
        return nullptr;
    }
    auto table = std::make_unique<gbl_shm>();
    const bool whole = system_calls.pread(fd.get(), table.get(), sizeof(gbl_shm), 0) ==
                       static_cast<ssize_t>(sizeof(gbl_shm));
    return whole ? std::move(table) : nullptr;
}

// Says who owns the channel, for those that find it owned.
Status write_owner(int fd) {
    const std::string text = std::to_string(getpid()) + "\n";
    if (past_interrupts([=] { return system_calls.ftruncate(fd, 0); }) != 0 ||
        !write_all(fd, text)) {
        return shm_failure("writing " SHM_OWNER_LOCK_PATH, SHM_OWNER_LOCK_PATH, text.size());
    }
    return {};
}

Status remove_stale_pod(const gbl_shm_record& record) {
    const std::string block = block_name(record.devSN);
    if (std::strncmp(record.lcl_shm_name, block.c_str(), sizeof(record.lcl_shm_name)) != 0) {
        return {};
    }
    TRY(removed(system_calls.shm_unlink(block.c_str()), block, block_path(block)));
    for (const std::string& name : {start_name(record.devSN), complete_name(record.devSN)}) {
        TRY(removed(system_calls.sem_unlink(name.c_str()), name, semaphore_path(name)));
    }
    return {};
}

} // namespace

Result<Ownership> Ownership::take() {
    for (;;) {
        FileDescriptor fd = open_lock_file();
        if (!fd.is_open()) {
            return shm_failure("opening " SHM_OWNER_LOCK_PATH, SHM_OWNER_LOCK_PATH);
        }
        if (!locked(fd.get())) {
            return errno == EWOULDBLOCK ? live_owner(fd.get())
                                        : system_failure("locking " SHM_OWNER_LOCK_PATH);
        }
        if (TRY(still_named(fd.get()))) {
            Ownership owner(std::move(fd));
            TRY(write_owner(owner.fd_.get()));
            return owner;
        }
    }
}

Ownership::~Ownership() {
    if (fd_.is_open()) {
        system_calls.unlink(SHM_OWNER_LOCK_PATH);
    }
}

Status remove_stale_objects() {
    if (const auto table = stale_table()) {
        for (const gbl_shm_record& record : table->devs) {
            TRY(remove_stale_pod(record));
        }
    }
    // The table before the mutex: a host that finds a mutex waits for it.
    TRY(removed(system_calls.shm_unlink(SHM_DEVICE_TABLE_NAME), SHM_DEVICE_TABLE_NAME,
                block_path(SHM_DEVICE_TABLE_NAME)));
    return removed(system_calls.sem_unlink(SHM_GLOBAL_MUTEX_NAME), SHM_GLOBAL_MUTEX_NAME,
                   semaphore_path(SHM_GLOBAL_MUTEX_NAME));
}

} // namespace talvor::podsim::proxy
