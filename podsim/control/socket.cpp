#include "podsim/control/socket.h"

#include "podsim/base/system_error.h"

#include <algorithm>
#include <array>
#include <fmt/format.h>
#include <optional>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>
#include <vector>

namespace podsim::control {
namespace {

// No command is longer; a client that sends more without a newline is dropped.
constexpr std::size_t longest_line = 1000;
constexpr std::size_t most_clients = 16;
constexpr int answer_patience_ms = 10'000;

class Descriptor {
public:
    explicit Descriptor(int fd) : fd_(fd) {}
    Descriptor(Descriptor&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        std::swap(fd_, other.fd_);
        return *this;
    }
    ~Descriptor() {
        if (fd_ >= 0) {
            close(fd_);
        }
    }
    int get() const { return fd_; }
    int release() { return std::exchange(fd_, -1); }

private:
    int fd_;
};

std::optional<sockaddr_un> address_of(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.empty() || path.size() >= sizeof(address.sun_path)) {
        return std::nullopt;
    }
    path.copy(address.sun_path, path.size());
    return address;
}

Status too_long(const std::string& path) {
    return Status::failure(fmt::format("the control socket's name {} is empty or longer than {} "
                                       "characters; choose a shorter one",
                                       path, sizeof(sockaddr_un::sun_path) - 1));
}

bool send_all(int fd, std::string_view text) {
    while (!text.empty()) {
        const ssize_t sent = send(fd, text.data(), text.size(), MSG_NOSIGNAL);
        if (sent <= 0) {
            return false;
        }
        text.remove_prefix(static_cast<std::size_t>(sent));
    }
    return true;
}

bool connects(int fd, const sockaddr_un& address) {
    return connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0;
}

// One connection: bytes that do not make a line yet.
struct Client {
    Descriptor fd;
    std::string pending;
};

// Answers the complete lines of a client; false when the client is to be dropped.
bool serve_client(Client& client, const Handler& handler) {
    std::array<char, longest_line> bytes{};
    const ssize_t count = recv(client.fd.get(), bytes.data(), bytes.size(), 0);
    if (count <= 0) {
        return false;
    }
    client.pending.append(bytes.data(), static_cast<std::size_t>(count));
    for (std::size_t end = client.pending.find('\n'); end != std::string::npos;
         end = client.pending.find('\n')) {
        const std::string answer = handler(std::string_view(client.pending).substr(0, end));
        client.pending.erase(0, end + 1);
        if (!send_all(client.fd.get(), answer + "\n")) {
            return false;
        }
    }
    return client.pending.size() <= longest_line;
}

// Removes a socket that nobody serves.
Status make_way(const std::string& path, const sockaddr_un& address) {
    struct stat file {};
    if (lstat(path.c_str(), &file) != 0) {
        return {};
    }
    if (!S_ISSOCK(file.st_mode)) {
        return Status::failure(path + " is no socket; choose another name for --control");
    }
    const Descriptor probe(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (connects(probe.get(), address)) {
        return Status::failure("another simulator serves " + path +
                               "; choose another name for --control");
    }
    unlink(path.c_str());
    return {};
}

} // namespace

Result<std::unique_ptr<Socket>> Socket::listen(const std::string& path, Handler handler) {
    const auto address = address_of(path);
    if (!address) {
        return too_long(path);
    }
    if (Status free = make_way(path, *address); free.failed()) {
        return free;
    }
    Descriptor listener(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (bind(listener.get(), reinterpret_cast<const sockaddr*>(&*address), sizeof(*address)) != 0) {
        return system_failure("making the control socket " + path);
    }
    Descriptor wake(eventfd(0, EFD_CLOEXEC));
    if (::listen(listener.get(), static_cast<int>(most_clients)) != 0 || wake.get() < 0) {
        const Status failure = system_failure("listening at the control socket " + path);
        unlink(path.c_str());
        return failure;
    }
    return std::unique_ptr<Socket>(
        new Socket(path, listener.release(), wake.release(), std::move(handler)));
}

Socket::Socket(std::string path, int listener, int wake, Handler handler)
    : path_(std::move(path)), listener_(listener), wake_(wake), handler_(std::move(handler)),
      thread_([this] { serve(); }) {}

Socket::~Socket() {
    eventfd_write(wake_, 1);
    thread_.join();
    unlink(path_.c_str());
    close(listener_);
    close(wake_);
}

void Socket::serve() const {
    std::vector<Client> clients;
    for (;;) {
        std::vector<pollfd> waits{{wake_, POLLIN, 0}};
        waits.push_back({clients.size() < most_clients ? listener_ : -1, POLLIN, 0});
        for (const Client& client : clients) {
            waits.push_back({client.fd.get(), POLLIN, 0});
        }
        poll(waits.data(), waits.size(), -1);
        if (waits[0].revents != 0) {
            return;
        }
        // From the last one on, so that the places of the others stay.
        for (std::size_t i = clients.size(); i-- > 0;) {
            if (waits[i + 2].revents != 0 && !serve_client(clients[i], handler_)) {
                clients.erase(clients.begin() + static_cast<std::ptrdiff_t>(i));
            }
        }
        if (waits[1].revents != 0) {
            const int fd = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
            if (fd >= 0) {
                clients.push_back({Descriptor(fd), {}});
            }
        }
    }
}

Result<std::string> ask(const std::string& path, const std::string& line) {
    const auto address = address_of(path);
    if (!address) {
        return too_long(path);
    }
    const Descriptor fd(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (!connects(fd.get(), *address)) {
        return system_failure("reaching the simulator at " + path);
    }
    std::string answer;
    std::array<char, longest_line> bytes{};
    if (!send_all(fd.get(), line + "\n")) {
        return system_failure("asking the simulator at " + path);
    }
    while (!answer.ends_with('\n')) {
        pollfd wait{fd.get(), POLLIN, 0};
        if (poll(&wait, 1, answer_patience_ms) <= 0) {
            return Status::failure("the simulator at " + path + " does not answer");
        }
        const ssize_t count = recv(fd.get(), bytes.data(), bytes.size(), 0);
        if (count <= 0) {
            return Status::failure("the simulator at " + path + " went away without an answer");
        }
        answer.append(bytes.data(), static_cast<std::size_t>(count));
    }
    answer.pop_back();
    return answer;
}

} // namespace podsim::control
