// Netlists in TOML, for who has no other or writes one by hand:
//
//   passive = ["X3"]                  # parts that drive nothing, may be left out
//   [devices]                         # which device of the chain a part is, may be left out
//   u1 = "cpu"
//   [nets]
//   reset_n = ["u1.NRST", "u2.14"]    # signals, or pins of the package
#pragma once

#include "common/result.h"
#include "host/interconnect/netlist.h"

namespace talvor::interconnect {

// Errors (ErrorKind::BadFile) name the line and the key.
[[nodiscard]] Result<Netlist> parse_toml_netlist(std::string_view text, const std::string& name);

} // namespace talvor::interconnect
