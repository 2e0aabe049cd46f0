// Named shared memory that this process made and removes again.
#pragma once

#include "common/file_descriptor.h"
#include "common/result.h"

#include <cstddef>
#include <string>

namespace talvor::podsim::proxy {

// One object in /dev/shm, mapped. Its name goes away with it.
class SharedMemory {
public:
    // Makes the object `name` ("/..."), all zeros, exactly `size` bytes, mode 0666 whatever the
    // umask, with all its memory allocated: a full /dev/shm is a failure here and never a SIGBUS
    // later. An object of that name is a failure. Nothing is left behind after one.
    [[nodiscard]] static Result<SharedMemory> create(const std::string& name, size_t size);

    SharedMemory(SharedMemory&& other) noexcept;
    SharedMemory& operator=(SharedMemory&&) = delete;
    ~SharedMemory();

    void* data() const { return data_; }
    const std::string& name() const { return name_; }

    // Removes the name now; the memory stays while this object lives.
    void remove_name();

    // Whether anybody else has the object open or mapped. False only when that is certain.
    bool used_by_others() const;

private:
    SharedMemory(std::string name, size_t size) : name_(std::move(name)), size_(size) {}

    std::string name_;
    FileDescriptor fd_; // open as soon as there is something to remove
    void* data_ = nullptr;
    size_t size_;
};

} // namespace talvor::podsim::proxy
