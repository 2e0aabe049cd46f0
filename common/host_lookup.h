// The addresses of a host by its name.
#pragma once

#include <memory>
#include <netdb.h>

namespace talvor {

struct HostLookup {
    std::unique_ptr<addrinfo, decltype(&freeaddrinfo)> addresses{nullptr, freeaddrinfo};
    int error = 0; // an EAI_ code; 0: there are addresses
};

// As getaddrinfo(3), past interrupts. Without addresses errno says why in its own words:
// EADDRNOTAVAIL when nobody knows the name, else what the system lacks.
[[nodiscard]] HostLookup look_up_host(const char* host, const char* port, const addrinfo& hints);

} // namespace talvor
