#include "podsim/proxy/shared_memory.h"

#include "podsim/base/system_error.h"

#include "shm_structs.h"

#include <csignal>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace podsim::proxy {

Result<SharedMemory> SharedMemory::create(const std::string& name, std::size_t size) {
    const int fd = shm_open(name.c_str(), O_RDWR | O_CREAT | O_EXCL, SHM_OBJECT_MODE);
    if (fd < 0) {
        return system_failure("making shared memory " + name);
    }
    void* data = MAP_FAILED;
    if (fchmod(fd, SHM_OBJECT_MODE) == 0 && ftruncate(fd, static_cast<off_t>(size)) == 0) {
        data = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_POPULATE, fd, 0);
    }
    if (data == MAP_FAILED) {
        const Status failure = system_failure("mapping shared memory " + name);
        close(fd);
        shm_unlink(name.c_str());
        return failure;
    }
    return SharedMemory(name, fd, data, size);
}

SharedMemory::SharedMemory(SharedMemory&& other) noexcept
    : name_(std::move(other.name_)), fd_(std::exchange(other.fd_, -1)),
      data_(std::exchange(other.data_, nullptr)), size_(other.size_) {}

SharedMemory::~SharedMemory() {
    if (data_ != nullptr) {
        remove_name();
        munmap(data_, size_);
        close(fd_);
    }
}

void SharedMemory::remove_name() {
    if (!name_.empty()) {
        shm_unlink(name_.c_str());
        name_.clear();
    }
}

// The kernel grants a write lease only while nobody else has the file open, and a mapping counts as
// open. Somebody who opens it in this very moment waits for the few instructions until the lease is
// given back; the signal that tells us so is of no use.
bool SharedMemory::used_by_others() const {
    static const auto ignored = std::signal(SIGIO, SIG_IGN);
    static_cast<void>(ignored);
    if (fcntl(fd_, F_SETLEASE, F_WRLCK) != 0) {
        return true;
    }
    fcntl(fd_, F_SETLEASE, F_UNLCK);
    return false;
}

} // namespace podsim::proxy
