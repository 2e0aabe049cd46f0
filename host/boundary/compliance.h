// Patterns that pins must have for a device to comply with the standard at all.
#pragma once

#include "host/boundary/access.h"

#include <string>

namespace talvor::boundary {

// "TEST0, TEST1 = 01 or 1X"; "" when the device has none.
[[nodiscard]] std::string compliance_text(const Member& member);
// "complies with IEEE 1149.1 only while TEST0, TEST1 = 01 or 1X"; "" when it has none.
[[nodiscard]] std::string compliance_condition(const Member& member);
// The same as a whole sentence: "u1 (PART) complies ...".
[[nodiscard]] std::string compliance_sentence(const Member& member);

} // namespace talvor::boundary
