// Where the pins of a package stand, as far as their names tell, and a picture of them.
#pragma once

#include "host/boundary/image.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace talvor::boundary {

enum class PinKind : uint8_t {
    Cell,    // the boundary register reaches it
    Test,    // of the test access port
    Linkage, // power, ground, analogue, not connected, and whatever has no cell
};

struct PackagePin {
    std::string pin;  // "12", "A3"; of the package
    std::string name; // "PA(3)"
    PinKind kind = PinKind::Linkage;
    std::optional<Level> level; // of a Cell, if it is known
};

struct Package {
    std::string title; // above the picture
    std::string part;  // in the middle of a ring
    std::vector<PackagePin> pins;
};

// A place in a ring: pins count against the clock, from the left side's upper end.
enum class Side : uint8_t { Left, Bottom, Right, Top, Middle };

struct RingPlace {
    Side side = Side::Left;
    size_t at = 0; // from the side's left or upper end

    friend bool operator==(const RingPlace&, const RingPlace&) = default;
};
struct GridPlace {
    size_t row = 0;
    size_t column = 0;

    friend bool operator==(const GridPlace&, const GridPlace&) = default;
};

struct Ring {
    size_t per_side = 0;
    std::vector<RingPlace> places; // of the pins, in their order
};
struct Grid {
    std::vector<std::string> rows; // their letters, from above
    size_t first_column = 1;
    size_t columns = 0;
    std::vector<GridPlace> places;
};

// Pins whose names are a letter or two and a number, as balls have them; nothing when one is not.
[[nodiscard]] std::optional<Grid> grid_of(const std::vector<PackagePin>& pins);
// Everything else: by their numbers where all have one, else in their order. A last pin that a side
// has no room for and that is linkage is the pad in the middle.
[[nodiscard]] Ring ring_of(const std::vector<PackagePin>& pins);

// A whole SVG file: each pin with its name, its level as a mark and in words.
[[nodiscard]] std::string to_svg(const Package& package);

} // namespace talvor::boundary
