#include "podsim/main/ready.h"

#include <fmt/format.h>

#include <cstdio>
#include <string_view>
#include <unistd.h>

namespace talvor::podsim {
namespace {

Status tell_ready_fd(int fd, std::string_view line) {
    if (write(fd, line.data(), line.size()) != static_cast<ssize_t>(line.size())) {
        return system_failure(fmt::format("writing to the ready descriptor {}", fd));
    }
    close(fd);
    return {};
}

} // namespace

ReadyFile::~ReadyFile() {
    if (!path_.empty()) {
        unlink(path_.c_str());
    }
}

Status ReadyFile::make(const std::string& path) {
    const std::string draft = fmt::format("{}.{}", path, getpid());
    std::FILE* file = std::fopen(draft.c_str(), "we");
    if (file == nullptr) {
        return system_failure("making the ready file " + path);
    }
    fmt::print(file, "{}\n", getpid());
    if (std::fclose(file) != 0 || std::rename(draft.c_str(), path.c_str()) != 0) {
        Failure failed = system_failure("making the ready file " + path);
        unlink(draft.c_str());
        return failed;
    }
    path_ = path;
    return {};
}

Status tell_ready(const Options& options, const std::string& summary, ReadyFile& file) {
    const std::string line = fmt::format("ready, {}\n", summary);
    std::FILE* stream = options.is_private ? stderr : stdout;
    fmt::print(stream, "{}", line);
    std::fflush(stream);
    if (!options.ready_file.empty()) {
        TRY(file.make(options.ready_file));
    }
    return options.ready_fd < 0 ? Status() : tell_ready_fd(options.ready_fd, line);
}

} // namespace talvor::podsim
