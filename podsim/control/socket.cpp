#include "podsim/control/socket.h"

#include "common/result.h"
#include "common/start_thread.h"
#include "common/system_calls.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <new>
#include <optional>
#include <span>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>
#include <vector>

namespace talvor::podsim::control {
namespace {

// No command is longer; a client that sends more without a newline is dropped.
constexpr size_t kLongestLine = 1000;
constexpr size_t kMostClients = 16;
constexpr int kAnswerPatienceMs = 10'000;

// How long the listener rests when a connection cannot be taken for want of descriptors or memory.
constexpr int kRestMs = 100;

FileDescriptor stream_socket() {
    return FileDescriptor(system_calls.socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
}

std::optional<sockaddr_un> address_of(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.empty() || path.size() >= sizeof(address.sun_path)) {
        return std::nullopt;
    }
    path.copy(address.sun_path, path.size());
    return address;
}

Failure too_long(const std::string& path) {
    return failure(fmt::format("the control socket's name {} is empty or longer than {} "
                               "characters; choose a shorter one",
                               path, sizeof(sockaddr_un::sun_path) - 1));
}

bool send_all(int fd, std::string_view text) {
    while (!text.empty()) {
        const ssize_t sent = past_interrupts(
            [&] { return system_calls.send(fd, text.data(), text.size(), MSG_NOSIGNAL); });
        if (sent < 0) {
            return false;
        }
        text.remove_prefix(static_cast<size_t>(sent));
    }
    return true;
}

// A connection to `address`; one that is not open, with errno as the reason, when there is none.
FileDescriptor connect_to(const sockaddr_un& address) {
    FileDescriptor fd = stream_socket();
    if (fd.is_open() && past_interrupts([&] {
                            return system_calls.connect(fd.get(),
                                                        reinterpret_cast<const sockaddr*>(&address),
                                                        sizeof(address));
                        }) != 0) {
        fd.reset();
    }
    return fd;
}

// What is received; 0 or less at the end.
ssize_t receive(int fd, std::span<char> bytes) {
    return past_interrupts([&] { return system_calls.recv(fd, bytes.data(), bytes.size(), 0); });
}

// One connection: bytes that do not make a line yet.
struct Client {
    FileDescriptor fd;
    std::string pending;
};

// Answers the complete lines of a client; false when the client is to be dropped.
bool serve_lines(Client& client, const Handler& handler) {
    std::array<char, kLongestLine> bytes{};
    const ssize_t count = receive(client.fd.get(), bytes);
    if (count <= 0) {
        return false;
    }
    client.pending.append(bytes.data(), static_cast<size_t>(count));
    for (size_t end = client.pending.find('\n'); end != std::string::npos;
         end = client.pending.find('\n')) {
        const std::string answer = handler(std::string_view(client.pending).substr(0, end));
        client.pending.erase(0, end + 1);
        if (!send_all(client.fd.get(), answer + "\n")) {
            return false;
        }
    }
    return client.pending.size() <= kLongestLine;
}

// As serve_lines; a client whose answer there is no memory for is dropped too.
bool serve_client(Client& client, const Handler& handler) {
    try {
        return serve_lines(client, handler);
    } catch (const std::bad_alloc&) {
        return false;
    }
}

// Waits for something to read; false when nothing comes.
bool readable(int fd) {
    pollfd wait{fd, POLLIN, 0};
    return past_interrupts([&] { return system_calls.poll(&wait, 1, kAnswerPatienceMs); }) > 0;
}

// The answer of the simulator at `path`, without its newline.
Result<std::string> receive_line(int fd, const std::string& path) {
    std::string answer;
    std::array<char, kLongestLine> bytes{};
    while (!answer.ends_with('\n')) {
        if (!readable(fd)) {
            return failure("the simulator at " + path + " does not answer");
        }
        const ssize_t count = receive(fd, bytes);
        if (count <= 0) {
            return failure("the simulator at " + path + " went away without an answer");
        }
        answer.append(bytes.data(), static_cast<size_t>(count));
    }
    answer.pop_back();
    return answer;
}

// Removes a socket that nobody serves.
Status make_way(const std::string& path, const sockaddr_un& address) {
    struct stat file {};
    if (system_calls.lstat(path.c_str(), &file) != 0) {
        return errno == ENOENT ? Status() : system_failure("looking at " + path);
    }
    if (!S_ISSOCK(file.st_mode)) {
        return failure(path + " is no socket; choose another name for --control");
    }
    const FileDescriptor probe = connect_to(address);
    if (probe.is_open()) {
        return failure("another simulator serves " + path + "; choose another name for --control");
    }
    if (errno != ECONNREFUSED && errno != ENOENT) {
        return system_failure("asking who serves " + path);
    }
    if (system_calls.unlink(path.c_str()) != 0 && errno != ENOENT) {
        return system_failure("removing the stale control socket " + path);
    }
    return {};
}

} // namespace

Result<std::unique_ptr<Socket>> Socket::listen(const std::string& path, Handler handler) {
    const auto address = address_of(path);
    if (!address) {
        return too_long(path);
    }
    TRY(make_way(path, *address));
    FileDescriptor wake(system_calls.eventfd(0, EFD_CLOEXEC));
    FileDescriptor listener = stream_socket();
    if (!wake.is_open() || !listener.is_open() ||
        system_calls.bind(listener.get(), reinterpret_cast<const sockaddr*>(&*address),
                          sizeof(*address)) != 0) {
        return system_failure("making the control socket " + path);
    }
    // From here on it goes away with the object.
    std::unique_ptr<Socket> made(
        new Socket(path, std::move(listener), std::move(wake), std::move(handler)));
    if (system_calls.listen(made->listener_.get(), static_cast<int>(kMostClients)) != 0) {
        return system_failure("listening at the control socket " + path);
    }
    made->thread_ =
        TRY(start_thread("the control socket's thread", [it = made.get()] { it->serve(); }));
    return made;
}

Socket::Socket(std::string path, FileDescriptor listener, FileDescriptor wake, Handler handler)
    : path_(std::move(path)), listener_(std::move(listener)), wake_(std::move(wake)),
      handler_(std::move(handler)) {}

Socket::~Socket() {
    if (thread_.joinable()) {
        stop_ = true;
        eventfd_write(wake_.get(), 1);
        thread_.join();
    }
    system_calls.unlink(path_.c_str());
}

void Socket::serve() const {
    std::vector<Client> clients;
    clients.reserve(kMostClients);
    bool rest = false; // the last connection could not be taken: it waits until things are better
    for (;;) {
        std::array<pollfd, kMostClients + 2> all{{{wake_.get(), POLLIN, 0}}};
        const std::span<pollfd> waits(all.data(), clients.size() + 2);
        waits[1] = {!rest && clients.size() < kMostClients ? listener_.get() : -1, POLLIN, 0};
        for (size_t i = 0; i < clients.size(); ++i) {
            waits[i + 2] = {clients[i].fd.get(), POLLIN, 0};
        }
        rest = system_calls.poll(waits.data(), waits.size(), rest ? kRestMs : -1) < 0;
        if (rest) {
            std::this_thread::sleep_for(std::chrono::milliseconds(kRestMs));
        }
        if (waits[0].revents != 0 || stop_) {
            return;
        }
        // From the last one on, so that the places of the others stay.
        for (size_t i = clients.size(); i-- > 0;) {
            if (waits[i + 2].revents != 0 && !serve_client(clients[i], handler_)) {
                clients.erase(clients.begin() + static_cast<ptrdiff_t>(i));
            }
        }
        if (waits[1].revents != 0) {
            FileDescriptor fd(
                system_calls.accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC));
            if (fd.is_open()) {
                clients.push_back({std::move(fd), {}});
            } else {
                rest = errno != EINTR && errno != ECONNABORTED;
            }
        }
    }
}

Result<std::string> ask(const std::string& path, const std::string& line) {
    const auto address = address_of(path);
    if (!address) {
        return too_long(path);
    }
    const FileDescriptor fd = connect_to(*address);
    if (!fd.is_open()) {
        return system_failure("reaching the simulator at " + path);
    }
    if (!send_all(fd.get(), line + "\n")) {
        return system_failure("asking the simulator at " + path);
    }
    return receive_line(fd.get(), path);
}

} // namespace talvor::podsim::control
