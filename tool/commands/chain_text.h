// A chain as it is printed.
#pragma once

#include "host/chain/chain.h"
#include "host/chain/part_names.h"
#include "tool/output/output.h"

namespace talvor {

// "0x1A2B3C4D", or "none" for a device that answers with BYPASS.
[[nodiscard]] std::string idcode_text(const std::optional<IdCode>& idcode);
// With the names that `names` knows.
void print_chain(const Output& out, const Chain& chain, const PartNames& names);
[[nodiscard]] Json to_json(const Chain& chain, const PartNames& names);

} // namespace talvor
