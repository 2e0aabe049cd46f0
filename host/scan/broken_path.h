// What is wrong with a path that never gives back what goes in.
#pragma once

#include "common/result.h"
#include "host/jtag/bits.h"
#include "host/jtag/port.h"

namespace talvor {

// An error (ErrorKind::Target) for a path out of which came `received`, at least one bit, and never
// what had gone in: TDO is stuck, the chain is broken somewhere, or bits are lost on the way.
[[nodiscard]] Failure broken_path_error(ScanPath path, const Bits& received);
// Whether all bits are the same.
[[nodiscard]] bool is_silent(const Bits& received);

} // namespace talvor
