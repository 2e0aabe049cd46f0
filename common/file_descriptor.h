// An open file descriptor that is closed with the object.
#pragma once

#include <string_view>
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

    // Closes it now. errno stays as it is: what failed before says why.
    void reset() noexcept;

    // Gives it to the caller, who closes it.
    [[nodiscard]] int release() noexcept { return std::exchange(fd_, -1); }

    [[nodiscard]] int get() const noexcept { return fd_; }
    [[nodiscard]] bool is_open() const noexcept { return fd_ >= 0; }

private:
    int fd_;
};

// Opens a file, past interrupts; one that is not open, with errno as the reason, on failure. The
// descriptor is closed in children.
[[nodiscard]] FileDescriptor open_file(const char* path, int flags, unsigned mode = 0) noexcept;

// Writes all of `bytes`, in pieces and past interrupts as it must be; false, with errno as the
// reason, on failure.
[[nodiscard]] bool write_all(int fd, std::string_view bytes) noexcept;

} // namespace talvor
