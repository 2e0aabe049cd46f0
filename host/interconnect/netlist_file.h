// Reads the netlist of a board, whatever program has written it.
#pragma once

#include "common/result.h"
#include "host/interconnect/netlist.h"

#include <string>
#include <string_view>

namespace talvor::interconnect {

// Reads a netlist of either format, told apart by the content: one that begins with "(" is KiCad's,
// every other our own. Errors (ErrorKind::BadFile): it cannot be read, or what is wrong at which
// line (and column, of KiCad's).
[[nodiscard]] Result<Netlist> read_netlist(const std::string& path);
// The same for text; `name` is what messages call it.
[[nodiscard]] Result<Netlist> parse_netlist(std::string_view text, const std::string& name);

} // namespace talvor::interconnect
