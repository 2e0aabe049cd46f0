// Trials of a connected chain: does it answer right, with this test clock and this link delay?
#pragma once

#include "common/result.h"
#include "host/session/session.h"

#include <cstddef>
#include <cstdint>
#include <optional>

namespace talvor {

// What a trial came to: nothing when the target answered right, else what it did instead.
using Verdict = std::optional<Error>;

// A target that answers wrong is a verdict, every other error ends the trials.
[[nodiscard]] Result<Verdict> verdict_of(Status answered);

// Reads `chain` again, and sends `bits` random bits through it.
[[nodiscard]] Result<Verdict> try_chain(Session& session, const Chain& chain, size_t bits);
// The same at another test clock. A pod that is connected anew has its configured link delay.
[[nodiscard]] Result<Verdict> try_clock(Session& session, const ClockSetting& setting,
                                        const Chain& chain, size_t bits);

struct LinkDelay {
    uint32_t standard = 0;
    uint32_t maximum = 0;
    uint32_t sum = 0; // what the driver reports; applied is this modulo maximum + 1

    [[nodiscard]] uint32_t applied() const noexcept { return sum % (maximum + 1); }
};

[[nodiscard]] Result<LinkDelay> read_link_delay(Pod& pod);
// Until the pod is disconnected.
[[nodiscard]] Status apply_link_delay(Session& session, uint32_t wanted);

// Finds the chain with the link delay that is in force, or, where that is wrong, with the least
// that is right. Errors: the chain answers right with none.
[[nodiscard]] Result<Chain> discover_with_any_delay(Session& session, size_t bits);

} // namespace talvor
