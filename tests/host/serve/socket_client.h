// A client over a real socket, for servers of this process or another one.
#pragma once

#include "common/file_descriptor.h"
#include "host/serve/address.h"

#include <cstddef>
#include <cstdlib>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <string>
#include <string_view>
#include <sys/socket.h>
#include <sys/un.h>
#include <vector>

namespace talvor {

// It waits for what it is told to receive for as long as the server lives.
class SocketClient {
public:
    // "127.0.0.1:PORT" or a path.
    explicit SocketClient(const std::string& name) {
        const ServeAddress address = ServeAddress::parse("", name).value();
        address.path.empty() ? connect_tcp(address.port) : connect_local(address.path);
    }

    [[nodiscard]] bool connected() const { return fd_.is_open(); }
    bool send(std::string_view bytes) const { return send_with(bytes, 0); }
    // False where that would wait.
    [[nodiscard]] bool send_at_once(std::string_view bytes) const {
        return send_with(bytes, MSG_DONTWAIT);
    }
    void stop_sending() const { shutdown(fd_.get(), SHUT_WR); }
    // So many bytes, or as many as there are until the connection ends.
    std::string receive(size_t count) const {
        std::string bytes(count, '\0');
        size_t have = 0;
        while (have < count) {
            const ssize_t got = recv(fd_.get(), bytes.data() + have, count - have, 0);
            if (got <= 0) {
                break;
            }
            have += static_cast<size_t>(got);
        }
        bytes.resize(have);
        return bytes;
    }
    std::string receive_line() const {
        std::string line;
        for (std::string byte = receive(1); !byte.empty(); byte = receive(1)) {
            if (byte == "\n") {
                break;
            }
            line += byte;
        }
        return line;
    }
    // Waits until the server has closed the connection.
    [[nodiscard]] bool closed() const { return receive(1).empty(); }

private:
    void connect_tcp(const std::string& port) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(static_cast<uint16_t>(std::strtoul(port.c_str(), nullptr, 10)));
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        connect(AF_INET, &address, sizeof(address));
        const int on = 1;
        setsockopt(fd_.get(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof(on));
    }
    void connect_local(const std::string& path) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        path.copy(address.sun_path, sizeof(address.sun_path) - 1);
        connect(AF_UNIX, &address, sizeof(address));
    }
    void connect(int family, const void* address, socklen_t size) {
        fd_ = FileDescriptor(socket(family, SOCK_STREAM | SOCK_CLOEXEC, 0));
        if (::connect(fd_.get(), static_cast<const sockaddr*>(address), size) != 0) {
            fd_.reset();
        }
    }
    bool send_with(std::string_view bytes, int flags) const {
        while (!bytes.empty()) {
            const ssize_t sent =
                ::send(fd_.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL | flags);
            if (sent <= 0) {
                return false;
            }
            bytes.remove_prefix(static_cast<size_t>(sent));
        }
        return true;
    }

    FileDescriptor fd_;
};

} // namespace talvor
