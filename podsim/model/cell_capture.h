// What a boundary-scan cell captures, by its type.
#pragma once

#include "common/bsdl/model.h"

#include <cstdint>
#include <string_view>

namespace talvor::podsim {

// Which instruction governs the boundary-scan register.
enum class TestMode : uint8_t {
    Normal, // the device's own logic drives the pins; SAMPLE, PRELOAD and all others
    Extest, // the cells drive them; CLAMP too
    Intest, // the cells drive them and the device's own logic
    Highz,  // nothing drives them
};

enum class CaptureSource : uint8_t {
    Pin,   // the level at the pin
    Core,  // what the device's own logic gives the cell
    Latch, // the cell's own update stage
};

// What a cell of the type captures in a mode, given what it does there: an input, an output, a
// control cell; a bidirectional cell is an output while it is enabled. Types are those of the
// standard's packages, BC_0 to BC_10, and AC_n, which capture as BC_n do. A type that is not known
// captures as BC_1.
[[nodiscard]] CaptureSource capture_of(std::string_view type, bsdl::CellFunction function,
                                       bool enabled, TestMode mode) noexcept;

} // namespace talvor::podsim
