#include "common/private_shm.h"

#include "common/child_process.h"
#include "common/file_descriptor.h"
#include "common/shm_facts.h"
#include "common/system_calls.h"

#include <array>
#include <cerrno>
#include <fcntl.h>
#include <sched.h>
#include <string>
#include <sys/mman.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

namespace talvor {
namespace {

Status write_file(const char* path, const std::string& text) {
    const FileDescriptor file = open_file(path, O_WRONLY);
    if (!file.is_open() || !write_all(file.get(), text)) {
        return system_failure(path);
    }
    return {};
}

std::string map_to_itself(unsigned id) {
    return std::to_string(id) + " " + std::to_string(id) + " 1";
}

// In a chroot whose root is no mount point /dev/shm may be one, and what is mounted there is all
// that must stay in here.
Status make_mounts_private() {
    if (system_calls.mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 ||
        (errno == EINVAL &&
         system_calls.mount("none", kShmFolder, nullptr, MS_PRIVATE, nullptr) == 0)) {
        return {};
    }
    return system_failure("making the mounts private");
}

Status mount_empty_shm() {
    TRY(make_mounts_private());
    if (system_calls.mount("tmpfs", kShmFolder, "tmpfs", MS_NOSUID | MS_NODEV, "mode=1777") != 0) {
        return system_failure("mounting a private /dev/shm");
    }
    return {};
}

// What a user may do who may not make a mount namespace alone.
Status enter_as_ordinary_user() {
    const uid_t user = getuid();
    const gid_t group = getgid();
    if (system_calls.unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) {
        return system_failure("a mount namespace");
    }
    // An unprivileged process may map its group only after giving up setgroups.
    TRY(write_file("/proc/self/setgroups", "deny"));
    TRY(write_file("/proc/self/uid_map", map_to_itself(user)));
    TRY(write_file("/proc/self/gid_map", map_to_itself(group)));
    return mount_empty_shm();
}

[[noreturn]] void try_and_tell(int to) {
    const Status entered = enter_as_ordinary_user();
    if (!entered) {
        (void)write_all(to, headline(entered.error()));
    }
    _exit(entered ? 0 : 1);
}

// Enters in a child that ends at once. Systems that restrict user namespaces may give one and
// refuse to map the user in it; a process that stands in one like that is nobody, and never gets
// out again.
Status try_in_a_child() {
    const FileDescriptor reason(system_calls.memfd_create("namespaces", MFD_CLOEXEC));
    if (!reason.is_open()) {
        return system_failure("trying a mount namespace");
    }
    keep_child_ends();
    const pid_t child = system_calls.fork();
    if (child == 0) {
        try_and_tell(reason.get());
    }
    int end = 0;
    if (child < 0 ||
        past_interrupts([&] { return system_calls.waitpid(child, &end, 0); }) != child) {
        return system_failure("trying a mount namespace");
    }
    if (WIFEXITED(end) && WEXITSTATUS(end) == 0) {
        return {};
    }
    std::array<char, 256> text{};
    const ssize_t length = past_interrupts(
        [&] { return system_calls.pread(reason.get(), text.data(), text.size(), 0); });
    return length > 0 ? failure(std::string(text.data(), static_cast<size_t>(length)))
                      : failure("trying a mount namespace: it ended without a word");
}

} // namespace

Status enter_private_shm() {
    if (system_calls.unshare(CLONE_NEWNS) == 0) {
        return mount_empty_shm();
    }
    TRY(try_in_a_child());
    return enter_as_ordinary_user();
}

} // namespace talvor
