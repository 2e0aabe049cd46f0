// An open file descriptor that is closed with the object.
#pragma once

#include <unistd.h>
#include <utility>

namespace talvor {

// Moving leaves none behind.
class FileDescriptor {
public:
    explicit FileDescriptor(int fd = -1) noexcept : fd_(fd) {}
    ~FileDescriptor() { reset(); }
    FileDescriptor(FileDescriptor&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    FileDescriptor& operator=(FileDescriptor&& other) noexcept {
        if (this != &other) {
            reset();
            fd_ = std::exchange(other.fd_, -1);
        }
        return *this;
    }

    // Closes it now.
    void reset() noexcept {
        if (fd_ >= 0) {
            close(std::exchange(fd_, -1));
        }
    }

    [[nodiscard]] int get() const noexcept { return fd_; }
    [[nodiscard]] bool is_open() const noexcept { return fd_ >= 0; }

private:
    int fd_;
};

} // namespace talvor
