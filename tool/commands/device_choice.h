// The chain that an option --device chooses from.
#pragma once

#include "common/result.h"
#include "host/chain/chain.h"
#include "host/chain/device_choice.h"

namespace talvor {

class Session;

// Reads the chain, for somebody who needs its instruction lengths. Resets the TAPs. Errors: those
// of the discovery; the lengths are ambiguous (ErrorKind::Usage).
[[nodiscard]] Result<Chain> discover_with_lengths(Session& session);

} // namespace talvor
