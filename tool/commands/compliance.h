// Patterns that pins must have for a device to comply with the standard at all.
#pragma once

#include "common/result.h"
#include "host/boundary/access.h"

#include <vector>

namespace talvor {

class Context;

// Shows the patterns of every described device.
void show_compliance(const Context& context, const std::vector<boundary::Member>& members);
// The same, and asks at a terminal whether they are met unless `met` says so already. Errors
// (ErrorKind::Refused): they are not, or nobody can be asked.
[[nodiscard]] Status require_compliance(const Context& context,
                                        const std::vector<boundary::Member>& members, bool met);

} // namespace talvor
