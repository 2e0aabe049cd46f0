// Which faults of one net, or of nets that are joined, explain what its receivers read.
#pragma once

#include "host/interconnect/fault.h"
#include "host/interconnect/reading.h"
#include "host/interconnect/tested_net.h"

#include <cstddef>
#include <optional>
#include <span>
#include <vector>

namespace talvor::interconnect {

// The receivers of a net by what they have read: indices of receivers.
struct NetReadings {
    size_t net = 0;
    std::vector<size_t> right; // of those that are not at the driver
    std::vector<size_t> low;   // stand still
    std::vector<size_t> high;
    std::vector<size_t> joined;
    std::vector<size_t> unclear;           // of all
    std::optional<size_t> own;             // the one at the driver
    std::optional<Reading::Kind> own_kind; // what that has read
    bool own_value = false;                // where it stands still

    [[nodiscard]] bool good() const noexcept;
    // Whether some pin sees something of what is driven.
    [[nodiscard]] bool alive() const noexcept { return !right.empty() || !joined.empty(); }
    // Whether the net stands still for all who could see it.
    [[nodiscard]] bool still() const noexcept;
};

[[nodiscard]] NetReadings sort_readings(size_t net, const TestedNet& tested,
                                        const std::vector<Reading>& readings);

// Of a net that is joined with no other; the most likely explanation first.
[[nodiscard]] std::vector<Explanation> explain_one(const NetReadings& net);

// Of nets that are joined. `readings` are those of all nets, by net and receiver.
[[nodiscard]] std::vector<Explanation>
explain_joined(std::span<const NetReadings> nets,
               const std::vector<std::vector<Reading>>& readings);

} // namespace talvor::interconnect
