#include "host/play/source.h"

#include "common/interrupt.h"
#include "common/temporary.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

namespace talvor::play {

namespace {

constexpr size_t kBufferBytes = size_t{1} << 18; // what is read stays in the nearer caches
constexpr int kLookEveryMs = 100;                // for a signal that came just before the wait

Failure unreadable(const std::string& name, const std::string& doing, int code) {
    return file_error(name, "cannot " + doing + ": " + std::strerror(code),
                      code == ENOENT ? "check the name" : "");
}

// One read that an interrupt does not end; -1 with errno set on failure.
ssize_t read_some(int fd, std::span<char> buffer) {
    ssize_t got = 0;
    do {
        got = ::read(fd, buffer.data(), buffer.size());
    } while (got < 0 && errno == EINTR);
    return got;
}

bool write_all(int fd, std::span<const char> bytes) {
    while (!bytes.empty()) {
        const ssize_t put = ::write(fd, bytes.data(), bytes.size());
        if (put < 0 && errno == EINTR) {
            continue;
        }
        if (put < 0) {
            return false;
        }
        bytes = bytes.subspan(static_cast<size_t>(put));
    }
    return true;
}

// What has an end by itself, or a person who can end it.
bool can_be_spooled(int fd, mode_t mode) {
    return S_ISFIFO(mode) || S_ISSOCK(mode) || (S_ISCHR(mode) && ::isatty(fd) == 1);
}

Failure cannot_be_spooled(const std::string& name, mode_t mode) {
    return file_error(name,
                      S_ISCHR(mode)   ? "is a character device, not a file"
                      : S_ISBLK(mode) ? "is a block device, not a file"
                                      : "is neither a file nor a pipe",
                      "name a file that can be played, or pipe it in and say -");
}

// Waits until there is something to read. A signal that asks for the end ends that, too.
Status await_bytes(int fd) {
    pollfd wanted{.fd = fd, .events = POLLIN, .revents = 0};
    while (::poll(&wanted, 1, kLookEveryMs) <= 0) {
        TRY(check_interrupt());
    }
    return check_interrupt();
}

Result<FileDescriptor> spool(const FileDescriptor& from, const std::string& name,
                             uint64_t max_bytes) {
    Result<TemporaryFile> file = TemporaryFile::create();
    if (!file) {
        return unreadable(name, "make a temporary file to spool it", errno);
    }
    FileDescriptor to = file->detach();
    std::vector<char> buffer(kBufferBytes);
    uint64_t spooled = 0;
    while (true) {
        TRY(await_bytes(from.get()));
        const ssize_t got = read_some(from.get(), buffer);
        if (got < 0) {
            return unreadable(name, "read it", errno);
        }
        if (got == 0) {
            return to;
        }
        spooled += static_cast<uint64_t>(got);
        if (spooled > max_bytes) {
            return file_error(name, fmt::format("more than {} bytes came", max_bytes),
                              "store it in a file and name that: files may have any size");
        }
        if (!write_all(to.get(), std::span(buffer).first(static_cast<size_t>(got)))) {
            return unreadable(name, "spool it to a temporary file", errno);
        }
    }
}

} // namespace

TextSource::TextSource(std::string_view text, std::string name, size_t chunk_bytes)
    : text_(text), name_(std::move(name)), chunk_bytes_(chunk_bytes) {}

Result<std::span<const char>> TextSource::next_chunk() {
    const std::string_view chunk = text_.substr(position_, chunk_bytes_);
    position_ += chunk.size();
    return std::span<const char>(chunk.data(), chunk.size());
}

Status TextSource::rewind() {
    position_ = 0;
    return {};
}

FileSource::FileSource(FileDescriptor file, std::string name, uint64_t total_bytes)
    : file_(std::move(file)), name_(std::move(name)), total_bytes_(total_bytes),
      buffer_(kBufferBytes) {}

Result<std::unique_ptr<FileSource>> FileSource::open(const std::string& path) {
    if (path == "-") {
        return adopt(FileDescriptor(::dup(STDIN_FILENO)), "standard input");
    }
    FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (!file.is_open()) {
        return unreadable(path, "open it", errno);
    }
    return adopt(std::move(file), path);
}

Result<std::unique_ptr<FileSource>> FileSource::adopt(FileDescriptor file, std::string name,
                                                      uint64_t max_spooled_bytes) {
    struct stat facts = {};
    if (::fstat(file.get(), &facts) != 0) {
        return unreadable(name, "open it", errno);
    }
    if (S_ISDIR(facts.st_mode)) {
        return unreadable(name, "read it", EISDIR);
    }
    if (!S_ISREG(facts.st_mode)) {
        if (!can_be_spooled(file.get(), facts.st_mode)) {
            return cannot_be_spooled(name, facts.st_mode);
        }
        file = TRY(spool(file, name, max_spooled_bytes));
        if (::fstat(file.get(), &facts) != 0) {
            return unreadable(name, "read the temporary file", errno);
        }
    }
    std::unique_ptr<FileSource> source(
        new FileSource(std::move(file), std::move(name), static_cast<uint64_t>(facts.st_size)));
    TRY(source->rewind());
    return source;
}

Result<std::span<const char>> FileSource::next_chunk() {
    const ssize_t got = read_some(file_.get(), buffer_);
    if (got < 0) {
        return unreadable(name_, "read it", errno);
    }
    return std::span<const char>(buffer_.data(), static_cast<size_t>(got));
}

Status FileSource::rewind() {
    if (::lseek(file_.get(), 0, SEEK_SET) != 0) {
        return unreadable(name_, "go back to its start", errno);
    }
    return {};
}

} // namespace talvor::play
