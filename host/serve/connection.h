// One client of a server: its socket, and the bytes on their way.
#pragma once

#include "host/serve/listener.h"
#include "host/serve/protocol.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace talvor {

// Never waits. What a client sends is bounded by its protocol's longest request; what it does not
// fetch is bounded too: nothing more is read from it until it has.
class Connection {
public:
    Connection(Caller caller, std::unique_ptr<Protocol> protocol)
        : socket_(std::move(caller.socket)), name_(std::move(caller.name)),
          protocol_(std::move(protocol)) {}

    [[nodiscard]] int descriptor() const noexcept { return socket_.get(); }
    [[nodiscard]] const std::string& name() const noexcept { return name_; }
    // What poll(2) is to wait for.
    [[nodiscard]] short events() const noexcept;

    // Reads what has come and serves it, as far as unfetched answers allow, and sends what there is
    // to send. Errors: the protocol's; then the client is to be dropped.
    [[nodiscard]] Status serve();
    // What the protocol keeps back is done. Errors: its.
    [[nodiscard]] Status idle() { return protocol_->idle(); }
    // Whether there is nothing more to do for it; how it went is farewell().
    [[nodiscard]] bool gone() const noexcept { return gone_; }
    [[nodiscard]] const std::string& farewell() const noexcept { return farewell_; }

    [[nodiscard]] uint64_t received_bytes() const noexcept { return received_bytes_; }
    [[nodiscard]] uint64_t sent_bytes() const noexcept { return sent_bytes_; }

private:
    [[nodiscard]] bool reads() const noexcept;
    [[nodiscard]] Status receive();
    [[nodiscard]] Status take_requests();
    void send();
    void leave(std::string farewell);
    void end_of_input();

    FileDescriptor socket_;
    std::string name_;
    std::unique_ptr<Protocol> protocol_;
    std::vector<uint8_t> input_; // the first input_bytes_ of it are in use
    size_t input_bytes_ = 0;
    Answer answer_;
    size_t answer_sent_ = 0; // of it, so far
    bool ended_ = false;     // nothing more comes, and what is to be sent may still go out
    bool gone_ = false;
    std::string farewell_;
    uint64_t received_bytes_ = 0;
    uint64_t sent_bytes_ = 0;
};

} // namespace talvor
