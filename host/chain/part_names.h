// Names of manufacturers and parts, from a folder in UrJTAG's format: MANUFACTURERS, and below it
// MANUFACTURER/PARTS and MANUFACTURER/PART/STEPPINGS, each a line "bits folder name" an entry.
#pragma once

#include "common/result.h"
#include "host/chain/idcode.h"

#include <string>

namespace talvor {

// What is known of a device; "" is unknown.
struct PartName {
    std::string manufacturer;
    std::string part;
    std::string stepping;

    friend bool operator==(const PartName&, const PartName&) = default;
};

class PartNames {
public:
    // Where Debian's urjtag package has them.
    static constexpr const char* kUsualFolder = "/usr/share/urjtag";

    // Knows no name.
    PartNames() = default;
    // The names in `folder`. Errors (ErrorKind::BadFile): there is no list of manufacturers in it.
    [[nodiscard]] static Result<PartNames> open(const std::string& folder);

    // Files that are missing, and lines that are none, are names that are unknown.
    [[nodiscard]] PartName find(const IdCode& code) const;

private:
    std::string folder_;
};

} // namespace talvor
