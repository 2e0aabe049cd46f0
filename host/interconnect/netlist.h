// A board's nets as its designer's files list them: which pins of which parts are connected.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace talvor::interconnect {

// What one file may hold; more is an error and no memory is spent on it.
inline constexpr size_t kMostNetlistBytes = size_t{64} << 20U;
inline constexpr size_t kMostNets = 100'000;
inline constexpr size_t kMostPins = 1'000'000; // of all nets

// A pin of a part, as the file writes it.
struct NetPin {
    std::string part; // "U1"
    std::string pin;  // a signal, "PA0", or a pin of the package, "14"
    uint32_t line = 0;

    friend bool operator==(const NetPin&, const NetPin&) = default;
};

struct Net {
    std::string name;
    std::vector<NetPin> pins;
    uint32_t line = 0;
};

// Which device of the chain a part is.
struct PartDevice {
    std::string part;
    std::string device; // its name, or its number in the chain, from 1
    uint32_t line = 0;  // 0: not from the file
};

struct Netlist {
    std::string file; // as messages call it
    std::vector<Net> nets;
    std::vector<PartDevice> devices;  // the file may leave them out
    std::vector<std::string> passive; // parts that drive nothing, beside those that look like it
    bool package_pins = false;        // pins are those of packages, and signals only otherwise
};

} // namespace talvor::interconnect
