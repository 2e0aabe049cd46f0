#include "podsim/proxy/ownership.h"

#include "podsim/base/system_error.h"
#include "podsim/proxy/names.h"

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

namespace podsim::proxy {
namespace {

// Opens the lock file, made if absent. First without O_CREAT: in a sticky directory the kernel may
// refuse O_CREAT on another user's file even where plain opening is allowed.
int open_lock_file() {
    const int found = open(SHM_OWNER_LOCK_PATH, O_RDWR | O_CLOEXEC | O_NOFOLLOW);
    if (found >= 0 || errno != ENOENT) {
        return found;
    }
    const int made =
        open(SHM_OWNER_LOCK_PATH, O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, SHM_OBJECT_MODE);
    if (made >= 0) {
        fchmod(made, SHM_OBJECT_MODE);
    }
    return made;
}

// The file that was locked may have been removed by its last owner meanwhile.
bool still_named(int fd) {
    struct stat opened {};
    struct stat named {};
    return fstat(fd, &opened) == 0 && stat(SHM_OWNER_LOCK_PATH, &named) == 0 &&
           opened.st_dev == named.st_dev && opened.st_ino == named.st_ino;
}

std::string owner_text(int fd) {
    std::array<char, 16> text{};
    const ssize_t length = pread(fd, text.data(), text.size() - 1, 0);
    const std::string digits(text.data(), length > 0 ? static_cast<std::size_t>(length) : 0);
    return digits.substr(0, digits.find_first_not_of("0123456789"));
}

Status live_owner(int fd) {
    const std::string process = owner_text(fd);
    return Status::failure("a pod proxy already serves this machine" +
                           (process.empty() ? std::string() : " (process " + process + ")") +
                           "; stop it first, or use --private");
}

Status remove(int result, const std::string& name) {
    if (result == 0 || errno == ENOENT) {
        return {};
    }
    return system_failure("removing the stale object " + name);
}

// A private copy of a stale table; nothing when there is none or it is no table.
std::unique_ptr<gbl_shm> stale_table() {
    const int fd = shm_open(SHM_DEVICE_TABLE_NAME, O_RDONLY, 0);
    if (fd < 0) {
        return nullptr;
    }
    auto table = std::make_unique<gbl_shm>();
    const bool whole =
        pread(fd, table.get(), sizeof(gbl_shm), 0) == static_cast<ssize_t>(sizeof(gbl_shm));
    close(fd);
    return whole ? std::move(table) : nullptr;
}

Status remove_stale_pod(const gbl_shm_record& record) {
    const std::string block = block_name(record.devSN);
    if (std::strncmp(record.lcl_shm_name, block.c_str(), sizeof(record.lcl_shm_name)) != 0) {
        return {};
    }
    if (Status removed = remove(shm_unlink(block.c_str()), block); removed.failed()) {
        return removed;
    }
    for (const std::string& name : {start_name(record.devSN), complete_name(record.devSN)}) {
        if (Status removed = remove(sem_unlink(name.c_str()), name); removed.failed()) {
            return removed;
        }
    }
    return {};
}

} // namespace

Result<Ownership> Ownership::take() {
    for (;;) {
        const int fd = open_lock_file();
        if (fd < 0) {
            return system_failure("opening " SHM_OWNER_LOCK_PATH);
        }
        if (flock(fd, LOCK_EX | LOCK_NB) != 0) {
            const Status failure = errno == EWOULDBLOCK
                                       ? live_owner(fd)
                                       : system_failure("locking " SHM_OWNER_LOCK_PATH);
            close(fd);
            return failure;
        }
        if (still_named(fd)) {
            const std::string text = std::to_string(getpid()) + "\n";
            const bool told = ftruncate(fd, 0) == 0 && pwrite(fd, text.data(), text.size(), 0) ==
                                                           static_cast<ssize_t>(text.size());
            Ownership owner(fd);
            if (!told) {
                return system_failure("writing " SHM_OWNER_LOCK_PATH);
            }
            return owner;
        }
        close(fd);
    }
}

Ownership::Ownership(Ownership&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}

Ownership::~Ownership() {
    if (fd_ >= 0) {
        unlink(SHM_OWNER_LOCK_PATH);
        close(fd_);
    }
}

Status remove_stale_objects() {
    if (const auto table = stale_table()) {
        for (const gbl_shm_record& record : table->devs) {
            if (Status removed = remove_stale_pod(record); removed.failed()) {
                return removed;
            }
        }
    }
    // The table before the mutex: a host that finds a mutex waits for it.
    if (Status removed = remove(shm_unlink(SHM_DEVICE_TABLE_NAME), SHM_DEVICE_TABLE_NAME);
        removed.failed()) {
        return removed;
    }
    return remove(sem_unlink(SHM_GLOBAL_MUTEX_NAME), SHM_GLOBAL_MUTEX_NAME);
}

} // namespace podsim::proxy
