// What a script expects of the last result.
#pragma once

#include "common/result.h"
#include "tool/output/json.h"

#include <optional>
#include <string>

namespace talvor {

struct Expectation {
    std::string path;  // a member of the result, as in "devices.0.idcode"; "": its main value
    std::string value; // a number in decimal or with 0x, or a word
    std::string mask;  // hexadecimal, of the bits that count; "": all
};

// What was compared.
struct Comparison {
    std::string path;
    std::string expected;
    std::string got;
    bool equal = false;
};

// Compares a value of `result` (nothing: there was none yet). Numbers are compared as numbers,
// however many digits they are written with, everything else letter by letter. The main value is
// what the command printed: `out` of a scan, `state` of a TAP. Errors (ErrorKind::Usage): there is
// no such value, or the mask has nothing to mask.
[[nodiscard]] Result<Comparison> compare(const Expectation& expectation,
                                         const std::optional<Json>& result);

} // namespace talvor
