#include "podsim/external/remote_bitbang.h"

#include "podsim/base/system_error.h"
#include "podsim/model/tap_state.h"

#include <algorithm>
#include <array>
#include <fmt/format.h>
#include <memory>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>
#include <utility>

namespace podsim::external {
namespace {

constexpr int tck_pin = 4;
constexpr int tms_pin = 2;
constexpr int tdi_pin = 1;
constexpr char read_request = 'R';
constexpr char quit_request = 'Q';
// Sent in one piece at most; the server works on one piece while we make the next.
constexpr std::size_t piece_bytes = 4096;
constexpr unsigned word_bits = 64;

bool bit(std::span<const std::uint64_t> words, std::uint64_t i) {
    return ((words[i / word_bits] >> (i % word_bits)) & 1U) != 0;
}

// r, s, t, u for (TRST, SRST).
char reset_request(bool trst, bool srst) {
    return static_cast<char>('r' + (trst ? 2 : 0) + (srst ? 1 : 0));
}

int connect_unix(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof(address.sun_path)) {
        errno = ENAMETOOLONG;
        return -1;
    }
    path.copy(address.sun_path, path.size());
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd >= 0 &&
        ::connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0) {
        close(fd);
        return -1;
    }
    return fd;
}

// The first address of the host that answers.
int connect_tcp(const std::string& host, const std::string& port) {
    addrinfo hints{};
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    if (getaddrinfo(host.c_str(), port.c_str(), &hints, &found) != 0) {
        errno = EADDRNOTAVAIL;
        return -1;
    }
    const std::unique_ptr<addrinfo, decltype(&freeaddrinfo)> addresses(found, freeaddrinfo);
    for (const addrinfo* one = found; one != nullptr; one = one->ai_next) {
        const int fd = socket(one->ai_family, one->ai_socktype | SOCK_CLOEXEC, one->ai_protocol);
        if (fd >= 0 && ::connect(fd, one->ai_addr, one->ai_addrlen) == 0) {
            // Small pieces must not wait for the acknowledgement of others.
            const int on = 1;
            setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof(on));
            return fd;
        }
        if (fd >= 0) {
            close(fd);
        }
    }
    return -1;
}

int connect_to(const std::string& address) {
    if (address.starts_with('/')) {
        return connect_unix(address);
    }
    const std::size_t colon = address.rfind(':');
    if (colon == std::string::npos) {
        return connect_tcp("localhost", address);
    }
    return connect_tcp(colon == 0 ? "localhost" : address.substr(0, colon),
                       address.substr(colon + 1));
}

} // namespace

Result<std::unique_ptr<RemoteBitbang>> RemoteBitbang::connect(const Options& options) {
    const int wake = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (wake < 0) {
        return system_failure("an event descriptor");
    }
    std::unique_ptr<RemoteBitbang> client(new RemoteBitbang(options, wake));
    if (Status opened = client->open(); opened.failed()) {
        return opened;
    }
    if (Status reset = client->reset_taps(); reset.failed()) {
        return reset;
    }
    return client;
}

RemoteBitbang::~RemoteBitbang() {
    if (fd_ >= 0) {
        if (lost_.empty()) {
            send(fd_, &quit_request, 1, MSG_NOSIGNAL | MSG_DONTWAIT);
        }
        close(fd_);
    }
    close(wake_);
}

Status RemoteBitbang::open() {
    const int fd = connect_to(options_.address);
    if (fd < 0) {
        return system_failure("connecting to the target at " + options_.address);
    }
    fd_ = fd;
    lost_.clear();
    out_.clear();
    pins_ = -1;
    outstanding_ = 0;
    return {};
}

Status RemoteBitbang::lost(const std::string& how) {
    if (lost_.empty()) {
        lost_ = fmt::format("the target at {} {}", options_.address, how);
    }
    return Status::failure(lost_);
}

void RemoteBitbang::request_stop() {
    eventfd_write(wake_, 1);
}

Status RemoteBitbang::wait_for(short events, const char* what) {
    std::array<pollfd, 2> waits{{{fd_, events, 0}, {wake_, POLLIN, 0}}};
    int ready = 0;
    do {
        ready = poll(waits.data(), waits.size(), static_cast<int>(options_.patience.count()));
    } while (ready < 0 && errno == EINTR);
    if (waits[1].revents != 0) {
        return lost("is no longer waited for: the pod is being stopped");
    }
    if (ready == 0) {
        return lost(fmt::format("has not {} for {} ms", what, options_.patience.count()));
    }
    return {};
}

Status RemoteBitbang::flush() {
    std::string_view rest = out_;
    while (!rest.empty()) {
        const ssize_t sent = send(fd_, rest.data(), rest.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
        if (sent > 0) {
            rest.remove_prefix(static_cast<std::size_t>(sent));
        } else if (errno == EAGAIN || errno == EWOULDBLOCK) {
            if (Status ready = wait_for(POLLOUT, "taken a request"); ready.failed()) {
                return ready;
            }
        } else if (errno != EINTR) {
            return lost("has closed the connection");
        }
    }
    out_.clear();
    return {};
}

Status RemoteBitbang::collect(std::size_t remaining) {
    std::array<char, most_outstanding> bytes{};
    while (outstanding_ > remaining) {
        if (Status ready = wait_for(POLLIN, "answered"); ready.failed()) {
            return ready;
        }
        const ssize_t count = recv(fd_, bytes.data(), outstanding_, 0);
        if (count <= 0) {
            return lost("has closed the connection");
        }
        for (const char byte : std::span(bytes).first(static_cast<std::size_t>(count))) {
            if (byte != '0' && byte != '1') {
                return lost(fmt::format("has answered with the byte 0x{:02x} instead of 0 or 1",
                                        static_cast<unsigned char>(byte)));
            }
            const std::uint64_t place = std::uint64_t{1} << (answered_ % word_bits);
            std::uint64_t& word = answers_[answered_ / word_bits];
            word = byte == '1' ? word | place : word & ~place;
            ++answered_;
        }
        outstanding_ -= static_cast<std::size_t>(count);
    }
    return {};
}

void RemoteBitbang::put(char byte) {
    out_.push_back(byte);
}

void RemoteBitbang::set_pins(bool tck, bool tms, bool tdi) {
    const int pins = (tck ? tck_pin : 0) | (tms ? tms_pin : 0) | (tdi ? tdi_pin : 0);
    if (pins != pins_) {
        put(static_cast<char>('0' + pins));
        pins_ = pins;
    }
}

void RemoteBitbang::clock(bool tms, bool tdi) {
    set_pins(false, tms, tdi);
    set_pins(true, tms, tdi);
}

// TCK rests low, and everything that was asked for has come.
Status RemoteBitbang::finish() {
    set_pins(false, (pins_ & tms_pin) != 0, (pins_ & tdi_pin) != 0);
    if (Status sent = flush(); sent.failed()) {
        return sent;
    }
    return collect(0);
}

Status RemoteBitbang::move(std::uint64_t tms, unsigned count, bool tdi) {
    if (!lost_.empty()) {
        return Status::failure(lost_);
    }
    for (unsigned i = 0; i < count; ++i) {
        clock(((tms >> i) & 1U) != 0, tdi);
    }
    return finish();
}

Status RemoteBitbang::shift(std::span<const std::uint64_t> tdi, std::span<std::uint64_t> tdo,
                            std::uint64_t count, bool leave) {
    if (!lost_.empty()) {
        return Status::failure(lost_);
    }
    answers_ = tdo;
    answered_ = 0;
    for (std::uint64_t i = 0; i < count; ++i) {
        const bool tms = leave && i + 1 == count;
        set_pins(false, tms, bit(tdi, i));
        put(read_request);
        ++outstanding_;
        set_pins(true, tms, bit(tdi, i));
        if (out_.size() >= piece_bytes || outstanding_ == most_outstanding) {
            if (Status sent = flush(); sent.failed()) {
                return sent;
            }
            // Half of them may stay: the server has work while we make more.
            if (Status come = collect(most_outstanding / 2); come.failed()) {
                return come;
            }
        }
    }
    return finish();
}

Status RemoteBitbang::reset_taps() {
    return move(kResetPath.tms, kResetPath.count, true);
}

Status RemoteBitbang::pulse_trst() {
    if (!lost_.empty()) {
        return Status::failure(lost_);
    }
    if (options_.send_resets) {
        put(reset_request(true, false));
        put(reset_request(false, false));
    }
    return reset_taps();
}

Status RemoteBitbang::set_reset(bool asserted) {
    if (!lost_.empty()) {
        return Status::failure(lost_);
    }
    if (options_.send_resets) {
        put(reset_request(false, asserted));
        return flush();
    }
    return {};
}

Status RemoteBitbang::power_on() {
    if (!lost_.empty()) {
        if (fd_ >= 0) {
            close(std::exchange(fd_, -1));
        }
        if (Status opened = open(); opened.failed()) {
            return opened;
        }
    }
    return reset_taps();
}

} // namespace podsim::external
