// A server of one client after the other on a thread of its own, for tests of what connects to it.
#pragma once

#include <atomic>
#include <cstddef>
#include <string>
#include <thread>

namespace talvor::podsim::external {

class StreamServer {
public:
    // Listens at a UNIX socket (an absolute path) or, with "", at a free TCP port.
    explicit StreamServer(const std::string& path);
    StreamServer(const StreamServer&) = delete;
    StreamServer& operator=(const StreamServer&) = delete;
    // finish() comes first, in the destructor of the class that serves.
    virtual ~StreamServer() = default;

    // For the client.
    const std::string& address() const { return address_; }
    // Waits until the client has gone. What was counted is final then.
    void finish();

    size_t connections = 0;

protected:
    void start();
    // One client, until it or the server has enough of the other.
    virtual void serve_client(int fd) = 0;
    // Whether something stands there to be read.
    static bool readable(int fd, int wait_ms);
    // All of them, or false when the client has gone.
    static bool read_all(int fd, void* bytes, size_t count);
    static bool send_all(int fd, const void* bytes, size_t count);

private:
    void serve();

    std::string path_;
    std::string address_;
    int listener_ = -1;
    std::atomic<bool> stop_{false};
    std::thread thread_;
};

} // namespace talvor::podsim::external
