#include "podsim/external/remote_bitbang.h"

#include "common/result.h"
#include "common/system_calls.h"
#include "common/tap_state.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <memory>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>
#include <utility>

namespace talvor::podsim::external {
namespace {

constexpr int kTckPin = 4;
constexpr int kTmsPin = 2;
constexpr int kTdiPin = 1;
constexpr char kReadRequest = 'R';
constexpr char kQuitRequest = 'Q';
// Sent in one piece at most; the server works on one piece while we make the next.
constexpr size_t kPieceBytes = 4096;
constexpr unsigned kWordBits = 64;

bool bit(std::span<const uint64_t> words, uint64_t i) {
    return ((words[i / kWordBits] >> (i % kWordBits)) & 1U) != 0;
}

// r, s, t, u for (TRST, SRST).
char reset_request(bool trst, bool srst) {
    return static_cast<char>('r' + (trst ? 2 : 0) + (srst ? 1 : 0));
}

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

// A failed look-up of a name as an errno.
int errno_of_lookup(int error) {
    switch (error) {
    case EAI_SYSTEM:
        return errno;
    case EAI_MEMORY:
        return ENOMEM;
    default:
        return EADDRNOTAVAIL;
    }
}

// The first address of the host that answers.
FileDescriptor connect_tcp(const std::string& host, const std::string& port) {
    addrinfo hints{};
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    int error = 0;
    do {
        error = system_calls.getaddrinfo(host.c_str(), port.c_str(), &hints, &found);
    } while (error == EAI_SYSTEM && errno == EINTR);
    if (error != 0) {
        errno = errno_of_lookup(error);
        return FileDescriptor();
    }
    const std::unique_ptr<addrinfo, decltype(&freeaddrinfo)> addresses(found, freeaddrinfo);
    for (const addrinfo* one = found; one != nullptr; one = one->ai_next) {
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

// One that is not open, with errno as the reason, when nobody answers there.
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

} // namespace

Result<std::unique_ptr<RemoteBitbang>> RemoteBitbang::connect(const Options& options) {
    FileDescriptor wake(system_calls.eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    if (!wake.is_open()) {
        return system_failure("making an event descriptor");
    }
    std::unique_ptr<RemoteBitbang> client(new RemoteBitbang(options, std::move(wake)));
    TRY(client->open());
    TRY(client->reset_taps());
    return client;
}

RemoteBitbang::~RemoteBitbang() {
    if (fd_.is_open() && lost_.empty()) {
        system_calls.send(fd_.get(), &kQuitRequest, 1, MSG_NOSIGNAL | MSG_DONTWAIT);
    }
}

Status RemoteBitbang::open() {
    FileDescriptor fd = connect_to(options_.address);
    if (!fd.is_open()) {
        return system_failure("connecting to the target at " + options_.address);
    }
    fd_ = std::move(fd);
    lost_.clear();
    out_.clear();
    pins_ = -1;
    outstanding_ = 0;
    return {};
}

Failure RemoteBitbang::lost(const std::string& how) {
    if (lost_.empty()) {
        lost_ = fmt::format("the target at {} {}", options_.address, how);
    }
    return failure(lost_);
}

// The connection broke, with errno as the reason where there is one.
Failure RemoteBitbang::closed() {
    const bool ordinary = errno == 0 || errno == EPIPE || errno == ECONNRESET;
    return lost(ordinary ? "has closed the connection"
                         : std::string("has lost the connection: ") + std::strerror(errno));
}

Status RemoteBitbang::check_connected() const {
    return lost_.empty() ? Status() : failure(lost_);
}

void RemoteBitbang::request_stop() {
    eventfd_write(wake_.get(), 1);
}

Status RemoteBitbang::wait_for(short events, const char* what) {
    std::array<pollfd, 2> waits{{{fd_.get(), events, 0}, {wake_.get(), POLLIN, 0}}};
    const int ready = past_interrupts([&] {
        return system_calls.poll(waits.data(), waits.size(),
                                 static_cast<int>(options_.patience.count()));
    });
    if (waits[1].revents != 0) {
        return lost("is no longer waited for: the pod is being stopped");
    }
    if (ready < 0) {
        return lost(std::string("cannot be waited for: ") + std::strerror(errno));
    }
    if (ready == 0) {
        return lost(fmt::format("has not {} for {} ms", what, options_.patience.count()));
    }
    return {};
}

Status RemoteBitbang::flush() {
    std::string_view rest = out_;
    while (!rest.empty()) {
        const ssize_t sent =
            system_calls.send(fd_.get(), rest.data(), rest.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
        if (sent > 0) {
            rest.remove_prefix(static_cast<size_t>(sent));
        } else if (errno == EAGAIN || errno == EWOULDBLOCK) {
            TRY(wait_for(POLLOUT, "taken a request"));
        } else if (errno != EINTR) {
            return closed();
        }
    }
    out_.clear();
    return {};
}

Status RemoteBitbang::collect(size_t remaining) {
    std::array<char, kMostOutstanding> bytes{};
    while (outstanding_ > remaining) {
        TRY(wait_for(POLLIN, "answered"));
        const ssize_t count = past_interrupts(
            [&] { return system_calls.recv(fd_.get(), bytes.data(), outstanding_, 0); });
        if (count <= 0) {
            errno = count == 0 ? 0 : errno;
            return closed();
        }
        for (const char byte : std::span(bytes).first(static_cast<size_t>(count))) {
            TRY(take_answer(byte));
        }
        outstanding_ -= static_cast<size_t>(count);
    }
    return {};
}

Status RemoteBitbang::take_answer(char byte) {
    if (byte != '0' && byte != '1') {
        return lost(fmt::format("has answered with the byte 0x{:02x} instead of 0 or 1",
                                static_cast<unsigned char>(byte)));
    }
    const uint64_t place = uint64_t{1} << (answered_ % kWordBits);
    uint64_t& word = answers_[answered_ / kWordBits];
    word = byte == '1' ? word | place : word & ~place;
    ++answered_;
    return {};
}

void RemoteBitbang::put(char byte) {
    out_.push_back(byte);
}

void RemoteBitbang::set_pins(bool tck, bool tms, bool tdi) {
    const int pins = (tck ? kTckPin : 0) | (tms ? kTmsPin : 0) | (tdi ? kTdiPin : 0);
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
    set_pins(false, (pins_ & kTmsPin) != 0, (pins_ & kTdiPin) != 0);
    TRY(flush());
    return collect(0);
}

Status RemoteBitbang::move(uint64_t tms, unsigned count, bool tdi) {
    TRY(check_connected());
    for (unsigned i = 0; i < count; ++i) {
        clock(((tms >> i) & 1U) != 0, tdi);
    }
    return finish();
}

Status RemoteBitbang::shift(std::span<const uint64_t> tdi, std::span<uint64_t> tdo, uint64_t count,
                            bool leave) {
    TRY(check_connected());
    answers_ = tdo;
    answered_ = 0;
    for (uint64_t i = 0; i < count; ++i) {
        const bool tms = leave && i + 1 == count;
        set_pins(false, tms, bit(tdi, i));
        put(kReadRequest);
        ++outstanding_;
        set_pins(true, tms, bit(tdi, i));
        if (out_.size() >= kPieceBytes || outstanding_ == kMostOutstanding) {
            TRY(flush());
            // Half of them may stay: the server has work while we make more.
            TRY(collect(kMostOutstanding / 2));
        }
    }
    return finish();
}

Status RemoteBitbang::reset_taps() {
    return move(kResetPath.tms, kResetPath.count, true);
}

Status RemoteBitbang::pulse_trst() {
    TRY(check_connected());
    if (options_.send_resets) {
        put(reset_request(true, false));
        put(reset_request(false, false));
    }
    return reset_taps();
}

Status RemoteBitbang::set_reset(bool asserted) {
    TRY(check_connected());
    if (options_.send_resets) {
        put(reset_request(false, asserted));
        return flush();
    }
    return {};
}

Status RemoteBitbang::power_on() {
    if (!lost_.empty()) {
        fd_.reset();
        TRY(open());
    }
    return reset_taps();
}

} // namespace talvor::podsim::external
