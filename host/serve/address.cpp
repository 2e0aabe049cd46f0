#include "host/serve/address.h"

#include <fmt/format.h>

#include <charconv>
#include <cstdint>

namespace talvor {
namespace {

constexpr uint32_t kHighestPort = 65535;

Failure bad(std::string_view option, std::string_view text, const char* reason) {
    return usage_error(fmt::format("{} {}", option, text), reason,
                       "give HOST:PORT, PORT alone, or the path of a UNIX socket");
}

bool is_port(std::string_view text) {
    uint32_t port = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), port);
    return error == std::errc() && end == text.data() + text.size() && port <= kHighestPort;
}

} // namespace

Result<ServeAddress> ServeAddress::parse(std::string_view option, std::string_view text) {
    ServeAddress address;
    if (text.find('/') != std::string_view::npos) {
        address.path = text;
        return address;
    }
    const size_t colon = text.rfind(':');
    std::string_view host = text.substr(0, colon == std::string_view::npos ? 0 : colon);
    const std::string_view port = text.substr(colon == std::string_view::npos ? 0 : colon + 1);
    if (!is_port(port)) {
        return bad(option, text, "the port is no number from 0 to 65535");
    }
    if (host.starts_with('[') && host.ends_with(']')) {
        host = host.substr(1, host.size() - 2);
    } else if (host.find(':') != std::string_view::npos) {
        return bad(option, text, "a host with colons needs brackets, as in [::1]:2542");
    }
    if (host == "*") {
        address.host.clear();
    } else if (!host.empty()) {
        address.host = host;
    }
    address.port = port;
    return address;
}

std::string ServeAddress::text() const {
    if (!path.empty()) {
        return path;
    }
    if (host.empty()) {
        return "*:" + port;
    }
    return host.find(':') == std::string::npos ? host + ":" + port
                                               : fmt::format("[{}]:{}", host, port);
}

} // namespace talvor
