#include "common/proxy_state.h"

#include "common/file_descriptor.h"
#include "common/system_calls.h"
#include "shm_structs.h"

#include <array>
#include <cerrno>
#include <charconv>
#include <fcntl.h>
#include <sys/file.h>

namespace talvor {
namespace {

bool object_exists(const char* name) {
    const FileDescriptor object(system_calls.shm_open(name, O_RDONLY | O_CLOEXEC, 0));
    return object.is_open() || errno != ENOENT;
}

std::optional<int> process_of(int lock) {
    std::array<char, 16> text{};
    const ssize_t length =
        past_interrupts([&] { return system_calls.pread(lock, text.data(), text.size(), 0); });
    int process = 0;
    if (length <= 0 ||
        std::from_chars(text.data(), text.data() + length, process).ec != std::errc()) {
        return std::nullopt;
    }
    return process;
}

} // namespace

ProxyState proxy_state() {
    if (!object_exists(SHM_DEVICE_TABLE_NAME) && !object_exists(SHM_GLOBAL_MUTEX_NAME)) {
        return {ProxyLife::Absent, std::nullopt};
    }
    const FileDescriptor lock = open_file(SHM_OWNER_LOCK_PATH, O_RDONLY | O_NOFOLLOW);
    if (!lock.is_open()) {
        return {ProxyLife::Unknown, std::nullopt};
    }
    // A shared lock that is given at once says that nobody holds the exclusive one.
    if (past_interrupts([&] { return system_calls.flock(lock.get(), LOCK_SH | LOCK_NB); }) == 0) {
        return {ProxyLife::Dead, std::nullopt};
    }
    return {ProxyLife::Alive, process_of(lock.get())};
}

} // namespace talvor
