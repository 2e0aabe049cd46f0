// What is wrong with a board, by what its receivers have read.
#pragma once

#include "host/interconnect/tested_net.h"
#include "host/interconnect/vectors.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace talvor::interconnect {

inline constexpr size_t kDriverPin = SIZE_MAX;

// A pin of a tested net.
struct PinOf {
    size_t net = 0;
    size_t receiver = kDriverPin; // index into the net's receivers, or kDriverPin

    friend auto operator<=>(const PinOf&, const PinOf&) = default;
};

enum class FaultKind : uint8_t {
    Open,  // `pins` have no contact with the net and read `value`; several: one break before them
    Stuck, // `nets` (several: shorted together) stand at `value`, whatever drives them
    Short, // `nets` are connected
};

// Who wins where drivers of shorted nets disagree.
enum class ShortKind : uint8_t {
    WiredAnd, // the low ones
    WiredOr,  // the high ones
    Strong,   // the driver of the first net
};

// One thing that is broken.
struct Fault {
    FaultKind kind = FaultKind::Open;
    ShortKind short_kind = ShortKind::WiredAnd;
    bool value = false;
    std::vector<size_t> nets; // indices into the tested nets
    std::vector<PinOf> pins;

    friend bool operator==(const Fault&, const Fault&) = default;
};

// Faults that together have the readings as their consequence.
using Explanation = std::vector<Fault>;

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
