// The control socket: lines in, one line out for each.
#pragma once

#include "common/file_descriptor.h"
#include "common/result.h"

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <thread>

namespace talvor::podsim::control {

// Answers a line; the answer has no newline. Called from the socket's thread.
using Handler = std::function<std::string(std::string_view line)>;

// A UNIX stream socket in the file system with a thread that serves it. The file goes away with it.
class Socket {
public:
    // Listens at `path`. A socket that nobody serves any more is replaced; any other file of that
    // name, or a live socket, is a failure.
    [[nodiscard]] static Result<std::unique_ptr<Socket>> listen(const std::string& path,
                                                                Handler handler);

    Socket(const Socket&) = delete;
    Socket& operator=(const Socket&) = delete;
    ~Socket();

private:
    Socket(std::string path, FileDescriptor listener, FileDescriptor wake, Handler handler);
    void serve() const;

    std::string path_;
    FileDescriptor listener_;
    std::atomic<bool> stop_{false}; // the thread must end
    FileDescriptor wake_;           // an eventfd: readable from then on
    Handler handler_;
    std::thread thread_;
};

// Sends one line to the socket at `path` and returns the answer.
[[nodiscard]] Result<std::string> ask(const std::string& path, const std::string& line);

} // namespace talvor::podsim::control
