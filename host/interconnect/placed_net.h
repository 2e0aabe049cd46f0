// A netlist's nets on the devices of a chain.
#pragma once

#include "common/result.h"
#include "host/boundary/access.h"
#include "host/interconnect/netlist.h"
#include "host/interconnect/tested_net.h"

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace talvor::interconnect {

struct PlacedNet {
    std::string name;
    uint32_t line = 0;
    std::vector<DevicePin> pins;      // of described devices of the chain
    std::vector<std::string> others;  // "U7.3": of parts that may drive and are none of them
    std::vector<std::string> unknown; // "U1.EP": pins that the description does not have
};

// What a person adds to a netlist.
struct Placement {
    std::vector<PartDevice> devices;  // before the netlist's own
    std::vector<std::string> passive; // parts that drive nothing, beside the netlist's
};

// A part is the device that `placement` or the netlist says, else the one of its own name, else the
// one of that number in the chain. A part whose reference begins like that of a passive one (R, C,
// L, J, TP and the like) drives nothing. Names do not distinguish capitals.
// Errors (ErrorKind::BadFile, Usage for those of `placement`): a device that the chain does not
// have; two parts that are one device; a pin that is in two nets; a signal that the device does not
// have, in netlists of signals; no part that is a device of the chain.
[[nodiscard]] Result<std::vector<PlacedNet>> place_nets(const Netlist& netlist,
                                                        std::span<const boundary::Member> chain,
                                                        const Placement& placement = {});

// Whether a part's reference begins like that of one that drives nothing: "R12", "TP3".
[[nodiscard]] bool looks_passive(std::string_view part) noexcept;

} // namespace talvor::interconnect
