// Failures of system calls in words.
#pragma once

#include "podsim/model/status.h"

#include <cerrno>
#include <cstring>
#include <string>

namespace podsim {

// "`what`: <the text of errno>". Takes errno as it stands.
inline Status system_failure(std::string what) {
    const int error = errno;
    return Status::failure(what.append(": ").append(std::strerror(error)));
}

} // namespace podsim
