#include "podsim/main/ready.h"

#include "common/file_descriptor.h"
#include "common/system_calls.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <string_view>
#include <unistd.h>

namespace talvor::podsim {
namespace {

constexpr unsigned kFileMode = 0666; // less the umask

Status tell_ready_fd(int fd, std::string_view line) {
    const bool written = write_all(fd, line);
    const int error = errno;
    system_calls.close(fd);
    errno = error;
    return written ? Status()
                   : system_failure(fmt::format("writing to the ready descriptor {}", fd));
}

} // namespace

ReadyFile::~ReadyFile() {
    if (!path_.empty()) {
        system_calls.unlink(path_.c_str());
    }
}

Status ReadyFile::make(const std::string& path) {
    const std::string draft = fmt::format("{}.{}", path, getpid());
    const FileDescriptor file = open_file(draft.c_str(), O_WRONLY | O_CREAT | O_TRUNC, kFileMode);
    if (!file.is_open()) {
        return system_failure("making the ready file " + path);
    }
    if (!write_all(file.get(), fmt::format("{}\n", getpid())) ||
        system_calls.rename(draft.c_str(), path.c_str()) != 0) {
        Failure failed = system_failure("making the ready file " + path);
        system_calls.unlink(draft.c_str());
        return failed;
    }
    path_ = path;
    return {};
}

Status tell_ready(const Options& options, const std::string& summary, ReadyFile& file) {
    const std::string line = fmt::format("ready, {}\n", summary);
    std::FILE* stream = options.is_private ? stderr : stdout;
    std::fputs(line.c_str(), stream);
    std::fflush(stream);
    if (!options.ready_file.empty()) {
        TRY(file.make(options.ready_file));
    }
    return options.ready_fd < 0 ? Status() : tell_ready_fd(options.ready_fd, line);
}

} // namespace talvor::podsim
