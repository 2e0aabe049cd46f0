#include "podsim/control/socket.h"

#include "common/result.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <optional>
#include <poll.h>
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

FileDescriptor stream_socket() {
    return FileDescriptor(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
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
        const ssize_t sent = send(fd, text.data(), text.size(), MSG_NOSIGNAL);
        if (sent <= 0) {
            return false;
        }
        text.remove_prefix(static_cast<size_t>(sent));
    }
    return true;
}

bool connects(int fd, const sockaddr_un& address) {
    return connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0;
}

// One connection: bytes that do not make a line yet.
struct Client {
    FileDescriptor fd;
    std::string pending;
};

// Answers the complete lines of a client; false when the client is to be dropped.
bool serve_client(Client& client, const Handler& handler) {
    std::array<char, kLongestLine> bytes{};
    const ssize_t count = recv(client.fd.get(), bytes.data(), bytes.size(), 0);
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

// The answer of the simulator at `path`, without its newline.
Result<std::string> receive_line(int fd, const std::string& path) {
    std::string answer;
    std::array<char, kLongestLine> bytes{};
    while (!answer.ends_with('\n')) {
        pollfd wait{fd, POLLIN, 0};
        if (poll(&wait, 1, kAnswerPatienceMs) <= 0) {
            return failure("the simulator at " + path + " does not answer");
        }
        const ssize_t count = recv(fd, bytes.data(), bytes.size(), 0);
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
    if (lstat(path.c_str(), &file) != 0) {
        return {};
    }
    if (!S_ISSOCK(file.st_mode)) {
        return failure(path + " is no socket; choose another name for --control");
    }
    const FileDescriptor probe = stream_socket();
    if (connects(probe.get(), address)) {
        return failure("another simulator serves " + path + "; choose another name for --control");
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
    TRY(make_way(path, *address));
    FileDescriptor listener = stream_socket();
    if (bind(listener.get(), reinterpret_cast<const sockaddr*>(&*address), sizeof(*address)) != 0) {
        return system_failure("making the control socket " + path);
    }
    FileDescriptor wake(eventfd(0, EFD_CLOEXEC));
    if (::listen(listener.get(), static_cast<int>(kMostClients)) != 0 || !wake.is_open()) {
        Failure failed = system_failure("listening at the control socket " + path);
        unlink(path.c_str());
        return failed;
    }
    return std::unique_ptr<Socket>(
        new Socket(path, std::move(listener), std::move(wake), std::move(handler)));
}

Socket::Socket(std::string path, FileDescriptor listener, FileDescriptor wake, Handler handler)
    : path_(std::move(path)), listener_(std::move(listener)), wake_(std::move(wake)),
      handler_(std::move(handler)), thread_([this] { serve(); }) {}

Socket::~Socket() {
    eventfd_write(wake_.get(), 1);
    thread_.join();
    unlink(path_.c_str());
}

void Socket::serve() const {
    std::vector<Client> clients;
    for (;;) {
        std::vector<pollfd> waits{{wake_.get(), POLLIN, 0}};
        waits.push_back({clients.size() < kMostClients ? listener_.get() : -1, POLLIN, 0});
        for (const Client& client : clients) {
            waits.push_back({client.fd.get(), POLLIN, 0});
        }
        poll(waits.data(), waits.size(), -1);
        if (waits[0].revents != 0) {
            return;
        }
        // From the last one on, so that the places of the others stay.
        for (size_t i = clients.size(); i-- > 0;) {
            if (waits[i + 2].revents != 0 && !serve_client(clients[i], handler_)) {
                clients.erase(clients.begin() + static_cast<ptrdiff_t>(i));
            }
        }
        if (waits[1].revents != 0) {
            FileDescriptor fd(accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC));
            if (fd.is_open()) {
                clients.push_back({std::move(fd), {}});
            }
        }
    }
}

Result<std::string> ask(const std::string& path, const std::string& line) {
    const auto address = address_of(path);
    if (!address) {
        return too_long(path);
    }
    const FileDescriptor fd = stream_socket();
    if (!connects(fd.get(), *address)) {
        return system_failure("reaching the simulator at " + path);
    }
    if (!send_all(fd.get(), line + "\n")) {
        return system_failure("asking the simulator at " + path);
    }
    return receive_line(fd.get(), path);
}

} // namespace talvor::podsim::control
