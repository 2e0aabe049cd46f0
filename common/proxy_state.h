// Whether a pod proxy serves the /dev/shm that this process sees.
#pragma once

#include <cstdint>
#include <optional>

namespace talvor {

// Whether the process that made the objects lives.
enum class ProxyLife : uint8_t {
    Absent,  // there are no objects
    Alive,   // it holds its lock
    Dead,    // the objects stand there and nobody holds the lock beside them
    Unknown, // the proxy keeps no lock
};

struct ProxyState {
    ProxyLife life = ProxyLife::Absent;
    std::optional<int> process; // that holds the lock
};

// Looks from outside: nothing is written, and no proxy is woken.
[[nodiscard]] ProxyState proxy_state();

} // namespace talvor
