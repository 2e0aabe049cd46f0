#include "podsim/proxy/shared_memory.h"

#include "common/result.h"
#include "shm_structs.h"

#include <csignal>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace talvor::podsim::proxy {

Result<SharedMemory> SharedMemory::create(const std::string& name, size_t size) {
    FileDescriptor fd(shm_open(name.c_str(), O_RDWR | O_CREAT | O_EXCL, SHM_OBJECT_MODE));
    if (!fd.is_open()) {
        return system_failure("making shared memory " + name);
    }
    void* data = MAP_FAILED;
    if (fchmod(fd.get(), SHM_OBJECT_MODE) == 0 &&
        ftruncate(fd.get(), static_cast<off_t>(size)) == 0) {
        data = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_POPULATE, fd.get(), 0);
    }
    if (data == MAP_FAILED) {
        Failure failed = system_failure("mapping shared memory " + name);
        shm_unlink(name.c_str());
        return failed;
    }
    return SharedMemory(name, std::move(fd), data, size);
}

SharedMemory::SharedMemory(SharedMemory&& other) noexcept
    : name_(std::move(other.name_)), fd_(std::move(other.fd_)),
      data_(std::exchange(other.data_, nullptr)), size_(other.size_) {}

SharedMemory::~SharedMemory() {
    if (data_ != nullptr) {
        remove_name();
        munmap(data_, size_);
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
    if (fcntl(fd_.get(), F_SETLEASE, F_WRLCK) != 0) {
        return true;
    }
    fcntl(fd_.get(), F_SETLEASE, F_UNLCK);
    return false;
}

} // namespace talvor::podsim::proxy
