// A shmoo of a connected chain: each test clock tried with each link delay.
#pragma once

#include "common/result.h"
#include "host/clock/shmoo.h"
#include "host/session/session.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace talvor {

// Who looks on while the cells are filled.
class ShmooWatcher {
public:
    virtual ~ShmooWatcher() = default;

    virtual void begin(const Shmoo& /*shmoo*/) {}
    virtual void row(const ShmooClock& /*clock*/) {}
    // False ends the trials.
    [[nodiscard]] virtual bool cell(bool /*works*/) { return true; }
    virtual void end_row() {}
};

// The pod's test clocks between `least` (else 500 kHz, or its slowest) and `most` (else its
// fastest), in Hz, at most `count` of them. Errors (ErrorKind::Usage): it has none there.
[[nodiscard]] Result<std::vector<ShmooClock>> shmoo_clocks(const TestClock& clock,
                                                           std::optional<double> least,
                                                           std::optional<double> most,
                                                           size_t count);

// Tries all of `shmoo`, with `bits` random bits through BYPASS each time. The chain is found at the
// slowest of the clocks. Leaves the last clock and delay that it tried. Errors: the chain answers
// right with no delay at that clock; the watcher ended it (ErrorKind::Refused); the pod's.
[[nodiscard]] Status try_shmoo(Session& session, size_t bits, Shmoo& shmoo, ShmooWatcher& watcher);

} // namespace talvor
