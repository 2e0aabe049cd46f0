#include "podsim/external/connected_socket.h"

#include "common/host_lookup.h"
#include "common/system_calls.h"

#include <cerrno>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <sys/un.h>

namespace talvor::podsim::external {
namespace {

// A socket that is connected; one that is not open, with errno as the reason, when nobody answers.
// An interrupted attempt may go on in the background: it is given up, and another one made.
FileDescriptor connected_socket(int family, int type, int protocol, const sockaddr* address,
                                socklen_t size) {
    for (;;) {
        FileDescriptor fd(system_calls.socket(family, type | SOCK_CLOEXEC, protocol));
        if (!fd.is_open() || system_calls.connect(fd.get(), address, size) == 0) {
            return fd;
        }
        if (errno != EINTR) {
            return FileDescriptor();
        }
    }
}

FileDescriptor connect_unix(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof(address.sun_path)) {
        errno = ENAMETOOLONG;
        return FileDescriptor();
    }
    path.copy(address.sun_path, path.size());
    return connected_socket(AF_UNIX, SOCK_STREAM, 0, reinterpret_cast<const sockaddr*>(&address),
                            sizeof(address));
}

// The first address of the host that answers.
FileDescriptor connect_tcp(const std::string& host, const std::string& port) {
    addrinfo hints{};
    hints.ai_socktype = SOCK_STREAM;
    const HostLookup lookup = look_up_host(host.c_str(), port.c_str(), hints);
    for (const addrinfo* one = lookup.addresses.get(); one != nullptr; one = one->ai_next) {
        FileDescriptor fd = connected_socket(one->ai_family, one->ai_socktype, one->ai_protocol,
                                             one->ai_addr, one->ai_addrlen);
        if (fd.is_open()) {
            // Small pieces must not wait for the acknowledgement of others.
            const int on = 1;
            setsockopt(fd.get(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof(on));
            return fd;
        }
    }
    return FileDescriptor();
}

} // namespace

FileDescriptor connect_to(const std::string& address) {
    if (address.starts_with('/')) {
        return connect_unix(address);
    }
    const size_t colon = address.rfind(':');
    if (colon == std::string::npos) {
        return connect_tcp("localhost", address);
    }
    return connect_tcp(colon == 0 ? "localhost" : address.substr(0, colon),
                       address.substr(colon + 1));
}

} // namespace talvor::podsim::external
