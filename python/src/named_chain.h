// A chain whose devices Python has given names.
#pragma once

#include "common/result.h"
#include "host/chain/chain.h"

#include <string>
#include <vector>

namespace talvor {
class Session;
}

namespace talvor::python {

// Finds the chain, which resets the TAPs; all that follows is exact. `names`, where there is one
// for each device, go before what the board file and BSDL files call it; empty ones do not. Errors:
// as for Session::discover().
[[nodiscard]] Result<Chain> named_chain(Session& session, const std::vector<std::string>& names);

} // namespace talvor::python
