// Where the names of manufacturers and parts come from.
#pragma once

#include "common/result.h"
#include "host/chain/part_names.h"

#include <string>

namespace talvor {

class Command;

// --parts; `folder` gets its value.
void add_parts_option(Command& command, std::string& folder);
// The names in `folder`, or, when it is empty, in $TALVOR_PARTS, or where the package has them;
// none when there are none. Errors: a folder that was named has no names.
[[nodiscard]] Result<PartNames> part_names(const std::string& folder);

} // namespace talvor
