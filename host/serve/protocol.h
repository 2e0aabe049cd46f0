// A protocol by which a client moves the pins of a TAP over a stream of bytes.
#pragma once

#include "common/result.h"
#include "host/serve/edge_port.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string_view>
#include <vector>

namespace talvor {

// The bytes of a stream on their way to a client.
using Answer = std::vector<uint8_t>;

// One client's side of a protocol, from its first byte to its last. It believes nothing that the
// client says: what breaks the protocol is an error (ErrorKind::Refused) whose reason says so.
class Protocol {
public:
    struct Served {
        size_t bytes = 0;  // of the input are done with; the rest comes again, with more behind it
        bool over = false; // the client has said good-bye
    };

    virtual ~Protocol() = default;

    // Serves whole requests from the start of `input`, as many as there are, and appends what they
    // are answered with. Errors: the protocol's; the port's.
    [[nodiscard]] virtual Result<Served> serve(std::span<const uint8_t> input, Answer& answer) = 0;
    // The client has been silent for a while: what was kept back for its next bytes is done.
    [[nodiscard]] virtual Status idle() { return {}; }
    // No request is longer.
    [[nodiscard]] virtual size_t longest_request() const noexcept = 0;
};

// What a protocol is called, and how one is made for a client of `port`, which outlives it.
struct ProtocolKind {
    std::string_view name;
    std::function<std::unique_ptr<Protocol>(EdgePort& port)> make;
};

} // namespace talvor
