// A chain as it is printed.
#pragma once

#include "host/chain/chain.h"
#include "tool/output/output.h"

namespace talvor {

// "0x1A2B3C4D", or "none" for a device that answers with BYPASS.
[[nodiscard]] std::string idcode_text(const std::optional<IdCode>& idcode);
void print_chain(const Output& out, const Chain& chain);
[[nodiscard]] Json to_json(const Chain& chain);

} // namespace talvor
