#include "stream_server.h"

#include <gtest/gtest.h>

#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace talvor::podsim::external {
namespace {

int listen_unix(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof(address.sun_path) - 1);
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    EXPECT_EQ(bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0);
    EXPECT_EQ(listen(fd, 4), 0);
    return fd;
}

int listen_tcp(std::string& port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    EXPECT_EQ(bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0);
    EXPECT_EQ(listen(fd, 4), 0);
    socklen_t size = sizeof(address);
    EXPECT_EQ(getsockname(fd, reinterpret_cast<sockaddr*>(&address), &size), 0);
    port = std::to_string(ntohs(address.sin_port));
    return fd;
}

} // namespace

StreamServer::StreamServer(const std::string& path) : path_(path) {
    if (path.empty()) {
        std::string port;
        listener_ = listen_tcp(port);
        address_ = "127.0.0.1:" + port;
    } else {
        listener_ = listen_unix(path);
        address_ = path;
    }
}

void StreamServer::start() {
    thread_ = std::thread([this] { serve(); });
}

void StreamServer::finish() {
    if (thread_.joinable()) {
        stop_ = true;
        thread_.join();
        close(listener_);
        unlink(path_.c_str());
    }
}

void StreamServer::serve() {
    // A client that is already there is served even when the end has been asked for.
    while (readable(listener_, 5) || !stop_) {
        if (readable(listener_, 0)) {
            const int fd = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
            ++connections;
            serve_client(fd);
            close(fd);
        }
    }
}

bool StreamServer::readable(int fd, int wait_ms) {
    pollfd wait{fd, POLLIN, 0};
    return poll(&wait, 1, wait_ms) > 0;
}

bool StreamServer::read_all(int fd, void* bytes, size_t count) {
    return count == 0 || recv(fd, bytes, count, MSG_WAITALL) == static_cast<ssize_t>(count);
}

bool StreamServer::send_all(int fd, const void* bytes, size_t count) {
    return send(fd, bytes, count, MSG_NOSIGNAL) == static_cast<ssize_t>(count);
}

} // namespace talvor::podsim::external
