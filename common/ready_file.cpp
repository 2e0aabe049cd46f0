#include "common/ready_file.h"

#include "common/file_descriptor.h"
#include "common/system_calls.h"

#include <fmt/format.h>

#include <cstdio>
#include <fcntl.h>
#include <unistd.h>

namespace talvor {
namespace {

constexpr unsigned kFileMode = 0666; // less the umask

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

} // namespace talvor
