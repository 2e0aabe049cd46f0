// What the program says before it gives up.
#pragma once

#include "common/result.h"

namespace talvor::podsim {

// "talvor-podsim: THING: REASON" on the standard error stream, and the next step on a line of its
// own where there is one. A stream that takes nothing is no reason to end otherwise.
void complain(const Error& error);

} // namespace talvor::podsim
