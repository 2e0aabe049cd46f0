#include "common/file_descriptor.h"

#include "common/system_calls.h"

#include <cerrno>
#include <fcntl.h>

namespace talvor {

void FileDescriptor::reset() noexcept {
    if (fd_ >= 0) {
        const int error = errno;
        system_calls.close(std::exchange(fd_, -1));
        errno = error;
    }
}

FileDescriptor open_file(const char* path, int flags, unsigned mode) noexcept {
    return FileDescriptor(
        past_interrupts([&] { return system_calls.open(path, flags | O_CLOEXEC, mode); }));
}

bool write_all(int fd, std::string_view bytes) noexcept {
    while (!bytes.empty()) {
        const ssize_t put =
            past_interrupts([&] { return system_calls.write(fd, bytes.data(), bytes.size()); });
        if (put < 0) {
            return false;
        }
        bytes.remove_prefix(static_cast<size_t>(put));
    }
    return true;
}

} // namespace talvor
