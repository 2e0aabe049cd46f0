#include "podsim/proxy/shared_memory.h"

#include "common/result.h"
#include "common/system_calls.h"
#include "podsim/proxy/shm_error.h"
#include "shm_structs.h"

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace talvor::podsim::proxy {
namespace {

// Gives a new object its mode and its memory, all of it now: what is not there when a page is first
// touched kills whoever touches it. MAP_FAILED, with errno as the reason, on failure.
void* fill(int fd, size_t size) {
    if (system_calls.fchmod(fd, SHM_OBJECT_MODE) != 0 ||
        past_interrupts([=] { return system_calls.ftruncate(fd, static_cast<off_t>(size)); }) !=
            0) {
        return MAP_FAILED;
    }
    int error = 0;
    do {
        error = system_calls.posix_fallocate(fd, 0, static_cast<off_t>(size));
    } while (error == EINTR);
    if (error != 0) {
        errno = error;
        return MAP_FAILED;
    }
    return system_calls.mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_POPULATE, fd,
                             0);
}

} // namespace

Result<SharedMemory> SharedMemory::create(const std::string& name, size_t size) {
    const std::string what = "making shared memory " + name;
    // First, so that nothing which can fail for want of memory comes between name and owner.
    SharedMemory made(name, size);
    made.fd_ = FileDescriptor(
        system_calls.shm_open(name.c_str(), O_RDWR | O_CREAT | O_EXCL, SHM_OBJECT_MODE));
    if (!made.fd_.is_open()) {
        return shm_failure(what, block_path(name), size);
    }
    void* data = fill(made.fd_.get(), size);
    if (data == MAP_FAILED) {
        return shm_failure(what, block_path(name), size);
    }
    made.data_ = data;
    return made;
}

SharedMemory::SharedMemory(SharedMemory&& other) noexcept
    : name_(std::move(other.name_)), fd_(std::move(other.fd_)),
      data_(std::exchange(other.data_, nullptr)), size_(other.size_) {}

SharedMemory::~SharedMemory() {
    if (fd_.is_open()) {
        remove_name();
    }
    if (data_ != nullptr) {
        system_calls.munmap(data_, size_);
    }
}

void SharedMemory::remove_name() {
    if (!name_.empty()) {
        system_calls.shm_unlink(name_.c_str());
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
