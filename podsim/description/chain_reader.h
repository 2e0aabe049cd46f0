// The chain of TAPs behind a pod, as the description file has it.
#pragma once

#include "common/toml_reader.h"
#include "podsim/model/chain_description.h"

namespace talvor::podsim::description {

// Reads the keys `tap` and `net` of a pod. What is wrong goes to the reader's errors, which are
// `errors`; the chain is of use only where there are none.
[[nodiscard]] ChainDescription read_chain(const TomlReader& pod, const TomlErrors& errors);

} // namespace talvor::podsim::description
