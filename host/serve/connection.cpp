#include "host/serve/connection.h"

#include "common/system_calls.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <poll.h>
#include <span>
#include <sys/socket.h>
#include <utility>

namespace talvor {
namespace {

// Read at once at most.
constexpr size_t kChunkBytes = size_t{1} << 18;
// A client that has left more unfetched is not read from.
constexpr size_t kMostUnfetchedBytes = size_t{1} << 22;

bool would_block() {
    return errno == EAGAIN || errno == EWOULDBLOCK;
}

} // namespace

bool Connection::reads() const noexcept {
    return !ended_ && answer_.size() - answer_sent_ <= kMostUnfetchedBytes;
}

short Connection::events() const noexcept {
    const int in = reads() ? POLLIN : 0;
    const int out = answer_sent_ < answer_.size() ? POLLOUT : 0;
    return static_cast<short>(in | out);
}

Status Connection::serve() {
    if (!gone_ && reads()) {
        TRY(receive());
    }
    if (!gone_) {
        send();
    }
    return {};
}

Status Connection::receive() {
    if (input_.size() - input_bytes_ < kChunkBytes) {
        input_.resize(input_bytes_ + kChunkBytes);
    }
    const ssize_t count = past_interrupts([this] {
        return system_calls.recv(socket_.get(), input_.data() + input_bytes_, kChunkBytes, 0);
    });
    if (count == 0) {
        end_of_input();
    } else if (count > 0) {
        input_bytes_ += static_cast<size_t>(count);
        received_bytes_ += static_cast<uint64_t>(count);
        return take_requests();
    } else if (!would_block()) {
        leave(fmt::format("lost: {}", std::strerror(errno)));
    }
    return {};
}

Status Connection::take_requests() {
    const Protocol::Served served =
        TRY(protocol_->serve(std::span(input_.data(), input_bytes_), answer_));
    std::memmove(input_.data(), input_.data() + served.bytes, input_bytes_ - served.bytes);
    input_bytes_ -= served.bytes;
    if (served.over) {
        ended_ = true;
        farewell_ = "said good-bye";
    }
    return {};
}

void Connection::end_of_input() {
    ended_ = true;
    farewell_ = input_bytes_ == 0 ? "closed the connection"
                                  : "closed the connection in the middle of a request";
}

void Connection::send() {
    while (answer_sent_ < answer_.size()) {
        const ssize_t count = past_interrupts([this] {
            return system_calls.send(socket_.get(), answer_.data() + answer_sent_,
                                     answer_.size() - answer_sent_, MSG_NOSIGNAL | MSG_DONTWAIT);
        });
        if (count < 0) {
            if (!would_block()) {
                leave(fmt::format("lost: {}", std::strerror(errno)));
            }
            return;
        }
        answer_sent_ += static_cast<size_t>(count);
        sent_bytes_ += static_cast<uint64_t>(count);
    }
    answer_.clear();
    answer_sent_ = 0;
    gone_ = ended_;
}

void Connection::leave(std::string farewell) {
    gone_ = true;
    farewell_ = std::move(farewell);
}

} // namespace talvor
