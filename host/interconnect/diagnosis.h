// What is wrong with a board, by what its receivers have read.
#pragma once

#include "host/interconnect/fault.h"
#include "host/interconnect/tested_net.h"
#include "host/interconnect/vectors.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace talvor::interconnect {

// Something that is wrong.
struct Finding {
    std::vector<size_t> nets; // whose readings are explained
    // The most likely one first: fewer faults before more, opens before nets that stand still.
    // No test through these pins can tell them apart. Empty: only `unclear`.
    std::vector<Explanation> explanations;
    // Receivers whose readings change and follow nothing that is driven.
    std::vector<PinOf> unclear;
};

// A device nearly all of whose pins stand still: one cause outside of the nets is likelier.
struct SilentDevice {
    size_t device = 0;
    bool drives = false; // its outputs stand still; else its inputs
    std::vector<size_t> nets;
};

struct Diagnosis {
    std::vector<SilentDevice> silent; // likelier than each finding that they have caused
    std::vector<Finding> findings;
    [[nodiscard]] bool good() const noexcept { return findings.empty(); }
};

// The nets to look at more closely once the counting sequence was read: those with a wrong reading,
// and those whose driver they seem to follow. Ascending, `most` at most.
[[nodiscard]] std::vector<size_t> suspects(std::span<const TestedNet> nets,
                                           std::span<const Vector> vectors,
                                           const Readings& readings, size_t most);

// `vectors` and the readings of all of them: the counting sequence, then, where there are suspects,
// a closer look at these.
[[nodiscard]] Diagnosis diagnose(std::span<const TestedNet> nets, std::span<const Vector> vectors,
                                 const Readings& readings);

} // namespace talvor::interconnect
