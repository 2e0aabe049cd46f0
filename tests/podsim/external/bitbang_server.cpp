#include "bitbang_server.h"

#include <algorithm>
#include <array>
#include <netinet/in.h>
#include <sys/socket.h>

namespace talvor::podsim::external {
BitbangServer::BitbangServer(const std::string& path, Behaviour behaviour)
    : StreamServer(path), behaviour_(behaviour), tap_(tap_in_pause()) {
    start();
}

BitbangServer::~BitbangServer() {
    finish();
}

void BitbangServer::serve_client(int fd) {
    pins_ = -1;
    answers_.clear();
    if (behaviour_.narrow) {
        const int bytes = 1; // the least that there is
        setsockopt(fd, SOL_SOCKET, SO_SNDBUF, &bytes, sizeof bytes);
        setsockopt(fd, SOL_SOCKET, SO_RCVBUF, &bytes, sizeof bytes);
    }
    serve_requests(fd);
    tck_rests_low = tck_rests_low && (pins_ & 4) == 0;
}

void BitbangServer::serve_requests(int fd) {
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
            if (!serve_byte(bytes[static_cast<size_t>(i)])) {
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
    const bool sent = send_all(fd, answers_.data(), answers_.size());
    answers_.clear();
    return sent;
}

bool BitbangServer::serve_byte(char byte) {
    if (byte >= '0' && byte <= '7') {
        set_pins(byte - '0');
    } else if (byte == 'R') {
        ++reads;
        const bool trouble = reads >= behaviour_.trouble_at && behaviour_.trouble_at > 0;
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
