// A stream socket that is connected to a program on this machine or another.
#pragma once

#include "common/file_descriptor.h"

#include <string>

namespace talvor::podsim::external {

// `address` is "host:port", "port" of this machine, or "/path" of a UNIX socket. One that is not
// open, with errno as the reason, when nobody answers there.
[[nodiscard]] FileDescriptor connect_to(const std::string& address);

} // namespace talvor::podsim::external
