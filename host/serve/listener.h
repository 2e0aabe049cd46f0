// A socket that clients connect to.
#pragma once

#include "common/file_descriptor.h"
#include "common/result.h"
#include "host/serve/address.h"

#include <string>

namespace talvor {

// A client that has come: a socket that never blocks, and who is at its other end.
struct Caller {
    FileDescriptor socket; // not open: nobody has come, errno says why
    std::string name;      // "127.0.0.1:50112", "process 4242"
};

class Listener {
public:
    // Errors: (ErrorKind::BadFile) the address cannot be had, with the reason; (ErrorKind::Pod) the
    // system lacks descriptors or memory.
    [[nodiscard]] static Result<Listener> open(const ServeAddress& address);
    // The file of a UNIX socket goes away with it.
    ~Listener();
    Listener(Listener&& other) noexcept;
    Listener& operator=(Listener&&) = delete;

    // For poll(2).
    [[nodiscard]] int descriptor() const noexcept { return socket_.get(); }
    // The address with the port in force.
    [[nodiscard]] const std::string& name() const noexcept { return name_; }
    // Whether other machines may reach it.
    [[nodiscard]] bool exposed() const noexcept { return exposed_; }

    // Never waits.
    [[nodiscard]] Caller accept() const;

private:
    Listener(FileDescriptor socket, std::string path, std::string name, bool exposed)
        : socket_(std::move(socket)), path_(std::move(path)), name_(std::move(name)),
          exposed_(exposed) {}

    [[nodiscard]] static Result<Listener> open_local(const std::string& path);
    [[nodiscard]] static Result<Listener> open_tcp(const ServeAddress& address);

    FileDescriptor socket_;
    std::string path_; // of a UNIX socket
    std::string name_;
    bool exposed_;
};

} // namespace talvor
