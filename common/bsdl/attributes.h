// The attributes of a file, each given to what understands it.
#pragma once

#include "common/bsdl/draft.h"

namespace talvor::bsdl {

// In an order in which each finds what it stands on, wherever the file has them. Those that nobody
// understands, and constants that are no pin maps, become the device's others.
void read_attributes(Draft& draft);

} // namespace talvor::bsdl
