// The device of a chain that an option --device names.
#pragma once

#include "common/result.h"
#include "host/chain/chain.h"

#include <cstddef>
#include <string>

namespace talvor {

class Session;

// Reads the chain, for somebody who needs its instruction lengths. Resets the TAPs. Errors: those
// of the discovery; the lengths are ambiguous (ErrorKind::Usage).
[[nodiscard]] Result<Chain> discover_with_lengths(Session& session);

// The index of the device called `choice`: a number from 1, nearest TDI first, or the name that the
// board file gives it. Errors (ErrorKind::Usage): there is none, or more than one.
[[nodiscard]] Result<size_t> find_device(const Chain& chain, const std::string& choice);

} // namespace talvor
