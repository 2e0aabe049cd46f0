// The pin maps of a file: which pin of a package carries which signal.
#pragma once

#include "common/bsdl/draft.h"

#include <optional>
#include <string>

namespace talvor::bsdl {

// Chooses the map that `wanted` names, else the default, else the first; reads all, and gives the
// signals the pins of the chosen one. A fault: there is none of the name that is wanted.
void read_pin_maps(Draft& draft, const std::optional<std::string>& wanted);

} // namespace talvor::bsdl
