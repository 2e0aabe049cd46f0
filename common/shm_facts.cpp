#include "common/shm_facts.h"

#include <fmt/format.h>

#include <array>
#include <pwd.h>
#include <sys/statvfs.h>

namespace talvor {
namespace {

std::string user_text(uid_t user) {
    std::array<char, 4096> room{};
    passwd entry{};
    passwd* found = nullptr;
    if (getpwuid_r(user, &entry, room.data(), room.size(), &found) == 0 && found != nullptr) {
        return fmt::format("user {} ({})", found->pw_name, user);
    }
    return fmt::format("user {}", user);
}

} // namespace

std::string owner_text(const std::string& path, const struct stat& facts) {
    return fmt::format("{} belongs to {} and has the mode {:04o}", path, user_text(facts.st_uid),
                       facts.st_mode & 07777U);
}

std::optional<uint64_t> shm_free_bytes() {
    struct statvfs room {};
    if (statvfs(kShmFolder, &room) != 0) {
        return std::nullopt;
    }
    return uint64_t{room.f_bavail} * room.f_frsize;
}

Failure shm_is_full(std::string what, size_t needed_bytes) {
    return pod_error(std::move(what),
                     fmt::format("{} is full: {} bytes are needed, {} are free", kShmFolder,
                                 needed_bytes, shm_free_bytes().value_or(0)),
                     fmt::format("remove what nobody uses from {0}, or make it larger "
                                 "(mount -o remount,size=64M {0})",
                                 kShmFolder));
}

} // namespace talvor
