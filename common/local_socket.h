// UNIX stream sockets in the file system: listening at a name, and reaching who listens there.
#pragma once

#include "common/file_descriptor.h"
#include "common/result.h"

#include <string>
#include <string_view>
#include <sys/un.h>

namespace talvor {

// How errors speak of a socket: "control socket", "another simulator" (who may serve there
// already), "--control" (where another name is given).
struct LocalSocketWords {
    std::string_view what;
    std::string_view server;
    std::string_view option;
};

// The address of a socket's name. Errors: it is empty, or longer than an address holds.
[[nodiscard]] Result<sockaddr_un> local_address(const std::string& path,
                                                const LocalSocketWords& words);

// A connection to `address`; one that is not open, with errno as the reason, when there is none.
[[nodiscard]] FileDescriptor connect_local(const sockaddr_un& address) noexcept;

// Listens at `path`, whose file the caller removes in the end. `type_flags` go with SOCK_STREAM. A
// socket that nobody serves any more is replaced. Errors: see local_address; another file, or a
// socket that somebody serves, has the name; the system's. After an error no file is left behind.
[[nodiscard]] Result<FileDescriptor> listen_local(const std::string& path,
                                                  const LocalSocketWords& words, int backlog,
                                                  int type_flags = 0);

} // namespace talvor
