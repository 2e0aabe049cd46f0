// What the Shift clocks of an exact scan are for, so that a waveform can name them.
#pragma once

#include "host/jtag/port.h"

#include <cstdint>
#include <functional>

namespace talvor {

enum class ShiftPurpose : uint8_t {
    Data,   // the client's own bits
    Marker, // bits that tell by where they come out how long the register is
    Fill,   // further bits behind a marker that has not come out yet
    Repair, // what the register would hold without marker and fill
    Lead,   // the leading word of the driver's own adjustment
};

// `clocks` Shift clocks one after the other.
struct ShiftMark {
    ScanPath path = ScanPath::Dr;
    ShiftPurpose purpose = ShiftPurpose::Data;
    uint64_t clocks = 0;

    friend bool operator==(const ShiftMark&, const ShiftMark&) = default;
};

// Is told of all Shift clocks, in their order. May be empty.
using ShiftMarkHook = std::function<void(const ShiftMark&)>;

// A word for drawings and tables: "data", "marker", "fill", "repair", "lead".
[[nodiscard]] constexpr const char* word_of(ShiftPurpose purpose) noexcept {
    switch (purpose) {
    case ShiftPurpose::Data:
        return "data";
    case ShiftPurpose::Marker:
        return "marker";
    case ShiftPurpose::Fill:
        return "fill";
    case ShiftPurpose::Repair:
        return "repair";
    case ShiftPurpose::Lead:
        return "lead";
    }
    return "";
}

} // namespace talvor
