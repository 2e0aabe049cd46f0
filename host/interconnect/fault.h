// What can be wrong with the connections of a board.
#pragma once

#include <compare>
#include <cstddef>
#include <cstdint>
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

} // namespace talvor::interconnect
