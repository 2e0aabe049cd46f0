#include "podsim/proxy/shm_error.h"

#include "common/system_calls.h"

#include <fmt/format.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <pwd.h>
#include <sys/statvfs.h>

namespace talvor::podsim::proxy {
namespace {

constexpr const char* kFolder = "/dev/shm";

std::string user_text(uid_t user) {
    std::array<char, 4096> room{};
    passwd entry{};
    passwd* found = nullptr;
    if (getpwuid_r(user, &entry, room.data(), room.size(), &found) == 0 && found != nullptr) {
        return fmt::format("user {} ({})", found->pw_name, user);
    }
    return fmt::format("user {}", user);
}

Failure no_room(std::string_view what, size_t needed_bytes) {
    struct statvfs room {};
    const bool known = statvfs(kFolder, &room) == 0;
    const uint64_t free_bytes = known ? uint64_t{room.f_bavail} * room.f_frsize : 0;
    return pod_error(std::string(what),
                     fmt::format("{} is full: {} bytes are needed, {} are free", kFolder,
                                 needed_bytes, free_bytes),
                     fmt::format("remove what nobody uses from {0}, or make it larger "
                                 "(mount -o remount,size=64M {0})",
                                 kFolder));
}

bool is_in_the_way(int error) {
    return error == EACCES || error == EPERM || error == EEXIST;
}

} // namespace

std::string block_path(const std::string& name) {
    return kFolder + name;
}

std::string semaphore_path(const std::string& name) {
    return std::string(kFolder) + "/sem." + name.substr(name.find_first_not_of('/'));
}

Failure shm_failure(std::string_view what, const std::string& path, size_t needed_bytes) {
    const int error = errno;
    struct stat facts {};
    Failure failed = system_failure(std::string(what));
    if (error == ENOSPC) {
        failed = no_room(what, needed_bytes);
    } else if (is_in_the_way(error) && system_calls.lstat(path.c_str(), &facts) == 0) {
        failed = pod_error(std::string(what),
                           fmt::format("{}: {} belongs to {} and has the mode {:04o}",
                                       std::strerror(error), path, user_text(facts.st_uid),
                                       facts.st_mode & 07777U),
                           fmt::format("have its owner or root remove {}", path));
    }
    errno = error;
    return failed;
}

} // namespace talvor::podsim::proxy
