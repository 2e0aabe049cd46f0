#include "common/local_socket.h"

#include "common/system_calls.h"

#include <fmt/format.h>

#include <cerrno>
#include <sys/socket.h>
#include <sys/stat.h>

namespace talvor {
namespace {

FileDescriptor stream_socket(int type_flags) noexcept {
    return FileDescriptor(system_calls.socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | type_flags, 0));
}

const sockaddr* generic(const sockaddr_un& address) noexcept {
    return reinterpret_cast<const sockaddr*>(&address);
}

// Removes a socket that nobody serves.
Status make_way(const std::string& path, const sockaddr_un& address,
                const LocalSocketWords& words) {
    struct stat file {};
    if (system_calls.lstat(path.c_str(), &file) != 0) {
        return errno == ENOENT ? Status() : system_failure("looking at " + path);
    }
    if (!S_ISSOCK(file.st_mode)) {
        return failure(
            fmt::format("{} is no socket; choose another name for {}", path, words.option));
    }
    const FileDescriptor probe = connect_local(address);
    if (probe.is_open()) {
        return failure(fmt::format("{} serves {}; choose another name for {}", words.server, path,
                                   words.option));
    }
    if (errno != ECONNREFUSED && errno != ENOENT) {
        return system_failure("asking who serves " + path);
    }
    if (system_calls.unlink(path.c_str()) != 0 && errno != ENOENT) {
        return system_failure(fmt::format("removing the stale {} {}", words.what, path));
    }
    return {};
}

} // namespace

Result<sockaddr_un> local_address(const std::string& path, const LocalSocketWords& words) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.empty() || path.size() >= sizeof(address.sun_path)) {
        return failure(
            fmt::format("the {}'s name {} is empty or longer than {} characters; choose a "
                        "shorter one",
                        words.what, path, sizeof(address.sun_path) - 1));
    }
    path.copy(address.sun_path, path.size());
    return address;
}

FileDescriptor connect_local(const sockaddr_un& address) noexcept {
    FileDescriptor fd = stream_socket(0);
    if (fd.is_open() && past_interrupts([&] {
                            return system_calls.connect(fd.get(), generic(address),
                                                        sizeof(address));
                        }) != 0) {
        fd.reset();
    }
    return fd;
}

Result<FileDescriptor> listen_local(const std::string& path, const LocalSocketWords& words,
                                    int backlog, int type_flags) {
    const sockaddr_un address = TRY(local_address(path, words));
    TRY(make_way(path, address, words));
    FileDescriptor listener = stream_socket(type_flags);
    if (!listener.is_open() ||
        system_calls.bind(listener.get(), generic(address), sizeof(address)) != 0) {
        return system_failure(fmt::format("making the {} {}", words.what, path));
    }
    if (system_calls.listen(listener.get(), backlog) != 0) {
        Failure failed = system_failure(fmt::format("listening at the {} {}", words.what, path));
        system_calls.unlink(path.c_str());
        return failed;
    }
    return listener;
}

} // namespace talvor
