// The device of a chain that a person names.
#pragma once

#include "common/result.h"
#include "host/chain/chain.h"

#include <cstddef>
#include <span>
#include <string>
#include <string_view>

namespace talvor {

// The index of the device called `choice`: by its name, capitals or not, else by its number from 1,
// nearest TDI first. `names`, in this order, may be empty. Errors (ErrorKind::Usage): there is
// none, or more than one.
[[nodiscard]] Result<size_t> find_device(std::span<const std::string> names,
                                         std::string_view choice);
// The same with the names that the board file gives.
[[nodiscard]] Result<size_t> find_device(const Chain& chain, std::string_view choice);

} // namespace talvor
