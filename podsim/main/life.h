// The life of the simulator's process: signals, the word that it is ready, a command of its own.
#pragma once

#include "podsim/main/options.h"

namespace talvor::podsim {

// Serves the pods until a signal comes or the private command ends. Returns the exit status; does
// not return when a pod could not be stopped.
int serve(const Options& options);

} // namespace talvor::podsim
