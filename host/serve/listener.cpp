#include "host/serve/listener.h"

#include "common/host_lookup.h"
#include "common/local_socket.h"
#include "common/system_calls.h"

#include <fmt/format.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <utility>

namespace talvor {
namespace {

constexpr LocalSocketWords kWords{"socket", "another server", "it"};
constexpr int kWaitingCallers = 8;
constexpr const char* kNextStep = "choose another address";

// A server that has been killed leaves connections behind that would keep its port for a while.
void allow_reuse(int fd) {
    const int on = 1;
    setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof(on));
}

// Small answers go out at once, and a client whose machine is gone is noticed.
void prepare_client(int fd) {
    constexpr int kOn = 1;
    constexpr int kIdleSeconds = 30;
    constexpr int kProbeSeconds = 10;
    constexpr int kProbes = 3;
    setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &kOn, sizeof(kOn));
    setsockopt(fd, SOL_SOCKET, SO_KEEPALIVE, &kOn, sizeof(kOn));
    setsockopt(fd, IPPROTO_TCP, TCP_KEEPIDLE, &kIdleSeconds, sizeof(kIdleSeconds));
    setsockopt(fd, IPPROTO_TCP, TCP_KEEPINTVL, &kProbeSeconds, sizeof(kProbeSeconds));
    setsockopt(fd, IPPROTO_TCP, TCP_KEEPCNT, &kProbes, sizeof(kProbes));
}

// One end of a connection or a listener in words.
std::string name_of(const sockaddr* address, socklen_t size) {
    std::array<char, NI_MAXHOST> host{};
    std::array<char, NI_MAXSERV> port{};
    if (getnameinfo(address, size, host.data(), host.size(), port.data(), port.size(),
                    NI_NUMERICHOST | NI_NUMERICSERV) != 0) {
        return "unknown";
    }
    return ServeAddress{{}, host.data(), port.data()}.text();
}

bool is_loopback(const sockaddr_storage& address) {
    constexpr uint32_t kNetwork = 127;
    constexpr unsigned kNetworkShift = 24;
    if (address.ss_family == AF_INET6) {
        return IN6_IS_ADDR_LOOPBACK(&reinterpret_cast<const sockaddr_in6*>(&address)->sin6_addr);
    }
    const auto* ip = reinterpret_cast<const sockaddr_in*>(&address);
    return ntohl(ip->sin_addr.s_addr) >> kNetworkShift == kNetwork;
}

std::string name_of_caller(int fd) {
    ucred peer{};
    socklen_t size = sizeof(peer);
    if (getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0 && peer.pid > 0) {
        return fmt::format("process {}", peer.pid);
    }
    sockaddr_storage address{};
    size = sizeof(address);
    const auto* generic = reinterpret_cast<const sockaddr*>(&address);
    if (getpeername(fd, reinterpret_cast<sockaddr*>(&address), &size) != 0 ||
        address.ss_family == AF_UNIX) {
        return "a process";
    }
    return name_of(generic, size);
}

// Another address is no help where the system lacks something.
bool is_want(int error) {
    return error == EMFILE || error == ENFILE || error == ENOMEM || error == ENOBUFS;
}

Failure no_listening(const ServeAddress& address, std::string reason) {
    return is_want(errno) ? system_failure("listening at " + address.text())
                          : file_error(address.text(), std::move(reason), kNextStep);
}

Result<HostLookup> look_up(const ServeAddress& address) {
    addrinfo hints{};
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = AI_PASSIVE | AI_NUMERICSERV;
    HostLookup lookup = look_up_host(address.host.empty() ? nullptr : address.host.c_str(),
                                     address.port.c_str(), hints);
    if (lookup.error != 0) {
        return no_listening(address, lookup.error == EAI_SYSTEM ? std::strerror(errno)
                                                                : gai_strerror(lookup.error));
    }
    return lookup;
}

} // namespace

Listener::Listener(Listener&& other) noexcept
    : socket_(std::move(other.socket_)), path_(std::exchange(other.path_, {})),
      name_(std::move(other.name_)), exposed_(other.exposed_) {}

Listener::~Listener() {
    if (!path_.empty()) {
        system_calls.unlink(path_.c_str());
    }
}

Result<Listener> Listener::open(const ServeAddress& address) {
    return address.path.empty() ? open_tcp(address) : open_local(address.path);
}

Result<Listener> Listener::open_local(const std::string& path) {
    Result<FileDescriptor> socket = listen_local(path, kWords, kWaitingCallers, SOCK_NONBLOCK);
    if (!socket) {
        return is_want(errno) ? Failure(std::move(socket).error())
                              : file_error(path, socket.error().reason, kNextStep);
    }
    return Listener(*std::move(socket), path, path, false);
}

Result<Listener> Listener::open_tcp(const ServeAddress& address) {
    const HostLookup lookup = TRY(look_up(address));
    for (const addrinfo* one = lookup.addresses.get(); one != nullptr; one = one->ai_next) {
        FileDescriptor fd(system_calls.socket(
            one->ai_family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, one->ai_protocol));
        if (!fd.is_open()) {
            continue;
        }
        allow_reuse(fd.get());
        if (system_calls.bind(fd.get(), one->ai_addr, one->ai_addrlen) != 0 ||
            system_calls.listen(fd.get(), kWaitingCallers) != 0) {
            continue;
        }
        sockaddr_storage in_force{};
        socklen_t size = sizeof(in_force);
        auto* const generic = reinterpret_cast<sockaddr*>(&in_force);
        getsockname(fd.get(), generic, &size);
        return Listener(std::move(fd), "", name_of(generic, size), !is_loopback(in_force));
    }
    return no_listening(address, fmt::format("cannot be listened at: {}", std::strerror(errno)));
}

Caller Listener::accept() const {
    FileDescriptor fd(past_interrupts([this] {
        return system_calls.accept4(socket_.get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
    }));
    if (!fd.is_open()) {
        return {FileDescriptor(), ""};
    }
    if (path_.empty()) {
        prepare_client(fd.get());
    }
    std::string name = name_of_caller(fd.get());
    return {std::move(fd), std::move(name)};
}

} // namespace talvor
