#include "common/host_lookup.h"

#include "common/system_calls.h"

#include <cerrno>

namespace talvor {
namespace {

// A failed look-up as an errno.
int errno_of(int error) {
    switch (error) {
    case EAI_SYSTEM:
        return errno;
    case EAI_MEMORY:
        return ENOMEM;
    default:
        return EADDRNOTAVAIL;
    }
}

} // namespace

HostLookup look_up_host(const char* host, const char* port, const addrinfo& hints) {
    HostLookup lookup;
    addrinfo* found = nullptr;
    do {
        lookup.error = system_calls.getaddrinfo(host, port, &hints, &found);
    } while (lookup.error == EAI_SYSTEM && errno == EINTR);
    if (lookup.error == 0) {
        lookup.addresses.reset(found);
    } else {
        errno = errno_of(lookup.error);
    }
    return lookup;
}

} // namespace talvor
