#include "podsim/main/ready.h"

#include "common/file_descriptor.h"
#include "common/system_calls.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstdio>
#include <string_view>

namespace talvor::podsim {
namespace {

Status tell_ready_fd(int fd, std::string_view line) {
    const bool written = write_all(fd, line);
    const int error = errno;
    system_calls.close(fd);
    errno = error;
    return written ? Status()
                   : system_failure(fmt::format("writing to the ready descriptor {}", fd));
}

} // namespace

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
