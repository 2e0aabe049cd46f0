// Netlists as KiCad exports them ("KiCad" format, .net): S-expressions,
// (export (version "E") (components ...) (nets (net (code "1") (name "/A0")
//   (node (ref "U1") (pin "12") ...) ...) ...)).
#pragma once

#include "common/result.h"
#include "host/interconnect/netlist.h"

namespace talvor::interconnect {

// Errors (ErrorKind::BadFile) name line and column. Lists that say nothing of nets are passed over.
[[nodiscard]] Result<Netlist> parse_kicad_netlist(std::string_view text, const std::string& name);

} // namespace talvor::interconnect
