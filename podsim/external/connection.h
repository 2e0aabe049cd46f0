// The connection to the program behind an external target: bytes out, bytes in, and what there is
// to say when it does not move.
#pragma once

#include "common/file_descriptor.h"
#include "common/result.h"

#include <chrono>
#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <utility>

namespace talvor::podsim::external {

// Once it is lost it stays so, for one reason, until it is opened again.
class Connection {
public:
    // A closed one to `address`, see connect_to(). `patience` is the longest wait for the server to
    // move.
    [[nodiscard]] static Result<Connection> make(std::string address,
                                                 std::chrono::milliseconds patience);

    // Connects, also after a loss.
    [[nodiscard]] Status open();
    // The loss, if there was one.
    [[nodiscard]] Status check();

    // Sends what can be sent at once; how much.
    [[nodiscard]] Result<size_t> send(std::string_view bytes);
    // Receives what is there; how much.
    [[nodiscard]] Result<size_t> receive(std::span<char> room);
    // More is awaited than has come: tells the server so at once. One that writes a byte at a time
    // and has not turned off Nagle's algorithm would not go on before our system's delayed
    // acknowledgement, 40 ms later.
    void acknowledge() const;

    struct Directions {
        bool out = false;
        bool in = false;
    };
    // Waits until one of the wanted directions moves; whether it is the one that comes in.
    [[nodiscard]] Result<bool> wait(Directions wanted);

    // Loses the connection: "the target at ADDRESS `how`".
    Failure lose(const std::string& how);
    // The same without a word, where there may be no memory for one.
    void close() noexcept { fd_.reset(); }
    // From any thread: a wait fails at once, and so does every later one.
    void request_stop() const;

private:
    Connection(std::string address, std::chrono::milliseconds patience, FileDescriptor wake)
        : address_(std::move(address)), patience_(patience), wake_(std::move(wake)) {}
    Failure closed();

    std::string address_;
    std::chrono::milliseconds patience_;
    FileDescriptor wake_; // an eventfd: readable once a stop has been asked for
    FileDescriptor fd_;
    std::string lost_; // why the connection is gone
};

} // namespace talvor::podsim::external
