// The chain of TAPs behind a pod, as the description file has it.
#pragma once

#include "common/toml_reader.h"
#include "podsim/model/chain_description.h"

#include <string>

namespace talvor::podsim::description {

// Reads the keys `tap`, `net`, `fault` and `floating` of a pod. Files that TAPs name are looked for
// in `folder`. What is wrong goes to the reader's errors, which are `errors`; the chain is of use
// only where there are none.
[[nodiscard]] ChainDescription read_chain(const TomlReader& pod, const std::string& folder,
                                          const TomlErrors& errors);

} // namespace talvor::podsim::description
