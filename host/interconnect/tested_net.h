// A net as it is tested: who drives it, who sees it.
#pragma once

#include "host/jtag/bits.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace talvor::interconnect {

// A pin of a device of the chain.
struct DevicePin {
    size_t device = 0;   // in the chain, from 0
    size_t signal = 0;   // index into its description's signals
    std::string name;    // "U1.PA0": the part as the netlist calls it, the signal
    std::string package; // the pin of the package, "14"; "" where nobody knows
};

// The pin that drives a net during the test.
struct Driver {
    DevicePin pin;
    size_t cell = 0;              // the bit of its image
    std::optional<size_t> enable; // the bit that enables it; nothing: it always drives
    bool enable_level = false;
};

// A pin whose cell captures the level of the net.
struct Receiver {
    DevicePin pin;
    size_t cell = 0;
    bool at_driver = false; // it watches the driver's own pin
};

struct TestedNet {
    std::string name;
    uint32_t line = 0; // in the netlist
    Driver driver;
    std::vector<Receiver> receivers; // at least one that is not at the driver
};

// What each receiver of each net has captured, a bit for each vector.
using Readings = std::vector<std::vector<Bits>>;

} // namespace talvor::interconnect
