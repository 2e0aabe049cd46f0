#include "common/result.h"

#include <cerrno>
#include <cstring>
#include <string_view>

namespace talvor {
namespace {

Failure make(ErrorKind kind, std::string thing, std::string reason, std::string next_step) {
    return Failure(Error{kind, 0, std::move(thing), std::move(reason), std::move(next_step)});
}

// What helps when a call fails with an errno that has little to do with what was asked for.
std::string_view remedy_of(int error) {
    switch (error) {
    case ENOSPC:
    case EDQUOT:
        return "make room on that file system";
    case EMFILE:
        return "raise the limit of open files (ulimit -n)";
    case ENFILE:
        return "end programs that keep many files open, or raise fs.file-max";
    case ENOMEM:
    case ENOBUFS:
        return "end other programs, or raise the limit of memory";
    case EAGAIN:
        return "end other programs, or raise the limit of processes (ulimit -u)";
    case EACCES:
    case EPERM:
    case EROFS:
        return "see who owns it and what its mode is (ls -l), and who you are (id)";
    case EIO:
        return "look at the kernel's log (dmesg)";
    default:
        return {};
    }
}

} // namespace

std::string headline(const Error& error) {
    return error.thing.empty() ? error.reason : error.thing + ": " + error.reason;
}

Failure usage_error(std::string thing, std::string reason, std::string next_step) {
    return make(ErrorKind::Usage, std::move(thing), std::move(reason), std::move(next_step));
}

Failure file_error(std::string thing, std::string reason, std::string next_step) {
    return make(ErrorKind::BadFile, std::move(thing), std::move(reason), std::move(next_step));
}

Failure refused_error(std::string thing, std::string reason, std::string next_step) {
    return make(ErrorKind::Refused, std::move(thing), std::move(reason), std::move(next_step));
}

Failure pod_error(std::string thing, std::string reason, std::string next_step) {
    return make(ErrorKind::Pod, std::move(thing), std::move(reason), std::move(next_step));
}

Failure target_error(std::string thing, std::string reason, std::string next_step) {
    return make(ErrorKind::Target, std::move(thing), std::move(reason), std::move(next_step));
}

Failure failure(std::string reason) {
    return make(ErrorKind::Pod, {}, std::move(reason), {});
}

Failure system_failure(std::string what, std::string next_step) {
    const int error = errno;
    if (next_step.empty()) {
        next_step = remedy_of(error);
    }
    Failure failed = pod_error(std::move(what), std::strerror(error), std::move(next_step));
    errno = error;
    return failed;
}

} // namespace talvor
