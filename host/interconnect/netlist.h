// A board's nets as its designer's files list them: which pins of which parts are connected.
#pragma once

#include "common/result.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
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

// Reads a netlist of either format, told apart by the content: one that begins with "(" is KiCad's,
// every other our own. Errors (ErrorKind::BadFile): it cannot be read, or what is wrong at which
// line (and column, of KiCad's).
[[nodiscard]] Result<Netlist> read_netlist(const std::string& path);
// The same for text; `name` is what messages call it.
[[nodiscard]] Result<Netlist> parse_netlist(std::string_view text, const std::string& name);

} // namespace talvor::interconnect
