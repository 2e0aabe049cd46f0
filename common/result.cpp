#include "common/result.h"

#include <cerrno>
#include <cstring>

namespace talvor {
namespace {

Failure make(ErrorKind kind, std::string thing, std::string reason, std::string next_step) {
    return Failure(Error{kind, 0, std::move(thing), std::move(reason), std::move(next_step)});
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

Failure system_failure(std::string what) {
    const int error = errno;
    Failure failed = failure(what.append(": ").append(std::strerror(error)));
    errno = error;
    return failed;
}

} // namespace talvor
