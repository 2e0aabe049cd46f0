// What an operator's commands do to the board behind a pod.
#pragma once

#include "common/result.h"
#include "podsim/control/command.h"
#include "podsim/model/chain.h"

#include <string>

namespace talvor::podsim {

// Carries out a command that is about the board. The answer: "ok", a level, or the board's state as
// a line of JSON. Errors (ErrorKind::Refused): a place or a fault that the board does not have.
[[nodiscard]] Result<std::string> operate(Chain& chain, const control::Command& command);

} // namespace talvor::podsim
