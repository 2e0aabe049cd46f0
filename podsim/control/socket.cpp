#include "podsim/control/socket.h"

#include "common/local_socket.h"
#include "common/result.h"
#include "common/start_thread.h"
#include "common/system_calls.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <new>
#include <span>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <vector>

namespace talvor::podsim::control {
namespace {

// No command is longer; a client that sends more without a newline is dropped.
constexpr size_t kLongestLine = 1000;
constexpr size_t kMostClients = 16;
constexpr int kAnswerPatienceMs = 10'000;

// How long the listener rests when a connection cannot be taken for want of descriptors or memory.
constexpr int kRestMs = 100;

constexpr LocalSocketWords kWords{"control socket", "another simulator", "--control"};

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

} // namespace

Result<std::unique_ptr<Socket>> Socket::listen(const std::string& path, Handler handler) {
    FileDescriptor wake(system_calls.eventfd(0, EFD_CLOEXEC));
    if (!wake.is_open()) {
        return system_failure("making the control socket " + path);
    }
    FileDescriptor listener = TRY(listen_local(path, kWords, static_cast<int>(kMostClients)));
    // From here on it goes away with the object.
    std::unique_ptr<Socket> made(
        new Socket(path, std::move(listener), std::move(wake), std::move(handler)));
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
    const FileDescriptor fd = connect_local(TRY(local_address(path, kWords)));
    if (!fd.is_open()) {
        return system_failure("reaching the simulator at " + path);
    }
    if (!send_all(fd.get(), line + "\n")) {
        return system_failure("asking the simulator at " + path);
    }
    return receive_line(fd.get(), path);
}

} // namespace talvor::podsim::control
