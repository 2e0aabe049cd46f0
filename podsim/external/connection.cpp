#include "podsim/external/connection.h"

#include "common/system_calls.h"
#include "podsim/external/connected_socket.h"

#include <fmt/format.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/eventfd.h>
#include <sys/socket.h>

namespace talvor::podsim::external {

Result<Connection> Connection::make(std::string address, std::chrono::milliseconds patience) {
    FileDescriptor wake(system_calls.eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    if (!wake.is_open()) {
        return system_failure("making an event descriptor");
    }
    return Connection(std::move(address), patience, std::move(wake));
}

Status Connection::open() {
    FileDescriptor fd = connect_to(address_);
    if (!fd.is_open()) {
        return system_failure("connecting to the target at " + address_);
    }
    fd_ = std::move(fd);
    lost_.clear();
    return {};
}

Status Connection::check() {
    if (!fd_.is_open()) {
        return lose("was given up in the middle of a batch");
    }
    return lost_.empty() ? Status() : failure(lost_);
}

Failure Connection::lose(const std::string& how) {
    if (lost_.empty()) {
        lost_ = fmt::format("the target at {} {}", address_, how);
    }
    return failure(lost_);
}

// The connection broke, with errno as the reason where there is one.
Failure Connection::closed() {
    const bool ordinary = errno == 0 || errno == EPIPE || errno == ECONNRESET;
    return lose(ordinary ? "has closed the connection"
                         : std::string("has lost the connection: ") + std::strerror(errno));
}

Result<size_t> Connection::send(std::string_view bytes) {
    const ssize_t sent = past_interrupts([&] {
        return system_calls.send(fd_.get(), bytes.data(), bytes.size(),
                                 MSG_NOSIGNAL | MSG_DONTWAIT);
    });
    if (sent >= 0) {
        return static_cast<size_t>(sent);
    }
    return errno == EAGAIN || errno == EWOULDBLOCK ? Result<size_t>(0) : closed();
}

Result<size_t> Connection::receive(std::span<char> room) {
    const ssize_t came = past_interrupts(
        [&] { return system_calls.recv(fd_.get(), room.data(), room.size(), MSG_DONTWAIT); });
    if (came > 0) {
        return static_cast<size_t>(came);
    }
    if (came < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) {
        return size_t{0};
    }
    errno = came == 0 ? 0 : errno;
    return closed();
}

// On a socket that is not TCP nothing happens, and nothing needs to.
void Connection::acknowledge() const {
    const int on = 1;
    setsockopt(fd_.get(), IPPROTO_TCP, TCP_QUICKACK, &on, sizeof on);
}

Result<bool> Connection::wait(Directions wanted) {
    const auto events = static_cast<short>((wanted.out ? POLLOUT : 0) | (wanted.in ? POLLIN : 0));
    std::array<pollfd, 2> waits{{{fd_.get(), events, 0}, {wake_.get(), POLLIN, 0}}};
    const int ready = past_interrupts([&] {
        return system_calls.poll(waits.data(), waits.size(), static_cast<int>(patience_.count()));
    });
    if (waits[1].revents != 0) {
        return lose("is no longer waited for: the pod is being stopped");
    }
    if (ready < 0) {
        return lose(std::string("cannot be waited for: ") + std::strerror(errno));
    }
    if (ready == 0) {
        return lose(fmt::format("has not {} for {} ms", wanted.out ? "taken a request" : "answered",
                                patience_.count()));
    }
    // What is wrong with the connection shows in the call that uses it.
    return wanted.in && (waits[0].revents & ~POLLOUT) != 0;
}

void Connection::request_stop() const {
    eventfd_write(wake_.get(), 1);
}

} // namespace talvor::podsim::external
