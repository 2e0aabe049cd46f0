// One scan from the command line: what ir and dr have in common.
#pragma once

#include "common/result.h"
#include "host/jtag/port.h"

#include <cstdint>
#include <string>

namespace talvor {

class Command;
class Context;

struct ShiftOptions {
    std::string data;         // hexadecimal, or for one device an instruction's name
    uint64_t bits = 0;        // 0: what the digits say, or the length of the device's register
    std::string device;       // number or name, see find_device(); "": the whole chain
    std::string end = "idle"; // state to end in
    std::string instruction;  // dr only: what to shift into the device before, or its name
    bool fast = false;        // no exact scan, see PodPort
};

void add_fast(Command& command, ShiftOptions& options);

// Shifts and prints what came out. With a device the others are in BYPASS: `ir` shifts ones into
// them, `dr` adds their bits.
[[nodiscard]] Status shift(Context& context, ScanPath path, const ShiftOptions& options);

} // namespace talvor
