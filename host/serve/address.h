// Where a server listens, as a user writes it.
#pragma once

#include "common/result.h"

#include <string>
#include <string_view>

namespace talvor {

struct ServeAddress {
    std::string path;               // of a UNIX socket; "" for TCP
    std::string host = "127.0.0.1"; // a name or a number; "" is every interface
    std::string port;               // a number; 0 is any free one

    // "HOST:PORT", "[HOST]:PORT", ":PORT" and "PORT", both on the loopback interface, "*:PORT" on
    // every interface, and whatever has a '/' is a path. `option` names it in errors
    // (ErrorKind::Usage).
    [[nodiscard]] static Result<ServeAddress> parse(std::string_view option, std::string_view text);

    // As it is written.
    [[nodiscard]] std::string text() const;

    friend bool operator==(const ServeAddress&, const ServeAddress&) = default;
};

} // namespace talvor
