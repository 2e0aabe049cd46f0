#include "bitbang_server.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace talvor::podsim::external {
namespace {

ChainDescription one_tap() {
    DeviceDescription device;
    device.name = "scratch";
    device.registers.push_back({"scratch", {0x8}, ScratchRegister{32, {}}});
    return {{device}, {}};
}

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

bool readable(int fd, int wait_ms) {
    pollfd wait{fd, POLLIN, 0};
    return poll(&wait, 1, wait_ms) > 0;
}

} // namespace

BitbangServer::BitbangServer(const std::string& path, Behaviour behaviour)
    : behaviour_(behaviour), path_(path), tap_(one_tap()) {
    const TmsPath away = shortest_path(tap_.state(), TapState::PauseDr);
    for (unsigned i = 0; i < away.count; ++i) {
        tap_.clock(((away.tms >> i) & 1) != 0, false);
    }
    if (path.empty()) {
        std::string port;
        listener_ = listen_tcp(port);
        address_ = "127.0.0.1:" + port;
    } else {
        listener_ = listen_unix(path);
        address_ = path;
    }
    thread_ = std::thread([this] { serve(); });
}

BitbangServer::~BitbangServer() {
    finish();
}

void BitbangServer::finish() {
    if (thread_.joinable()) {
        stop_ = true;
        thread_.join();
        close(listener_);
        unlink(path_.c_str());
    }
}

void BitbangServer::serve() {
    // A client that is already there is served even when the end has been asked for.
    while (readable(listener_, 5) || !stop_) {
        if (readable(listener_, 0)) {
            const int fd = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
            ++connections;
            pins_ = -1;
            answers_.clear();
            serve_connection(fd);
            tck_rests_low = tck_rests_low && (pins_ & 4) == 0;
            close(fd);
        }
    }
}

void BitbangServer::serve_connection(int fd) {
    std::array<char, 1000> bytes{};
    for (;;) {
        if (!readable(fd, behaviour_.hoard ? 2 : 0) && !answer(fd, true)) {
            return;
        }
        const ssize_t count = recv(fd, bytes.data(), bytes.size(), 0);
        if (count <= 0) {
            return;
        }
        for (ssize_t i = 0; i < count; ++i) {
            if (!serve_byte(fd, bytes[static_cast<size_t>(i)])) {
                return;
            }
        }
        if (!answer(fd, !behaviour_.hoard)) {
            return;
        }
    }
}

bool BitbangServer::answer(int fd, bool force) {
    if (!force || answers_.empty()) {
        return true;
    }
    const bool sent = send(fd, answers_.data(), answers_.size(), MSG_NOSIGNAL) > 0;
    answers_.clear();
    return sent;
}

bool BitbangServer::serve_byte(int, char byte) {
    if (byte >= '0' && byte <= '7') {
        set_pins(byte - '0');
    } else if (byte == 'R') {
        ++reads_;
        const bool trouble = reads_ >= behaviour_.trouble_at && behaviour_.trouble_at > 0;
        troubled = troubled || trouble;
        if (trouble && behaviour_.close_at_read) {
            return false;
        }
        if (!(trouble && behaviour_.silent_at_read)) {
            answers_ += trouble && behaviour_.wrong_at_read ? '?' : tdo_ ? '1' : '0';
            most_unanswered = std::max(most_unanswered, answers_.size());
        }
    } else if (byte >= 'r' && byte <= 'u') {
        resets += byte;
    } else if (byte == 'Q') {
        ++quits;
    } else {
        ++unknown;
    }
    return true;
}

void BitbangServer::set_pins(int pins) {
    ++pin_bytes;
    idle_bytes += pins == pins_ ? 1 : 0;
    const bool was_high = pins_ >= 0 && (pins_ & 4) != 0;
    const bool high = (pins & 4) != 0;
    if (high && !was_high) {
        tap_.clock((pins & 2) != 0, (pins & 1) != 0);
    }
    if (high != was_high && high == behaviour_.tdo_on_rise) {
        tdo_ = tap_.tdo();
    }
    pins_ = pins;
}

} // namespace talvor::podsim::external
