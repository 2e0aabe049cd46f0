// What stands on a wire of the board: how strongly it is driven, and to which level.
#pragma once

#include <cstdint>

namespace talvor::podsim {

// In rising order: what is stronger wins.
enum class Strength : uint8_t {
    None,
    Keep,   // a keeper holds the level that was there
    Weak,   // leakage: where a pin goes that nobody drives
    Pull,   // a resistor
    Strong, // an output
    Rail,   // a wire that touches the supply or ground
};

struct Drive {
    Strength strength = Strength::None;
    bool level = false;
    bool by_cell = false; // boundary-scan cells drive it, which a host has set

    friend bool operator==(const Drive&, const Drive&) = default;
};

// What two drives of the same wire come to: the stronger one; equally strong ones that differ come
// to 0.
constexpr Drive joined(const Drive& a, const Drive& b) {
    if (a.strength != b.strength) {
        return a.strength > b.strength ? a : b;
    }
    return {a.strength, a.level && b.level, a.by_cell || b.by_cell};
}

// What a device's own logic does at a pin.
enum class Core : uint8_t { Low, High, Off };

} // namespace talvor::podsim
