// What the commands about pins have in common.
#pragma once

#include "common/result.h"

#include <cstdint>
#include <string>
#include <vector>

namespace talvor {

class Command;
class Context;

struct PinsOptions {
    std::string device; // a name, or a number from 1; "": all
    bool compliance_met = false;
    // Of the list.
    std::string filter;
    double watch_seconds = 0; // 0: once
    uint32_t count = 0;       // 0: until interrupted
    std::string svg;
    std::string vcd;
    // Of set, get and toggle.
    std::vector<std::string> pins;
    std::string instruction = "extest";
    double hold_seconds = 0; // 0: until a key
    bool enable_others = false;
    double period_seconds = 1;
};

// Samples, once or again and again.
[[nodiscard]] Status list_pins(Context& context, const PinsOptions& options);
[[nodiscard]] Status get_pins(Context& context, const PinsOptions& options);
// Drive, and leave by safe values on every way out.
[[nodiscard]] Status set_pins(Context& context, const PinsOptions& options);
[[nodiscard]] Status toggle_pins(Context& context, const PinsOptions& options);

} // namespace talvor
