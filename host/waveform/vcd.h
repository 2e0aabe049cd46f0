// Reads the value change dumps that the simulated pod writes.
#pragma once

#include "common/result.h"
#include "host/waveform/waveform.h"
#include "host/waveform/window.h"

#include <cstdint>
#include <istream>
#include <string>

namespace talvor::waveform {

// Signals, each looked up by its last name whatever scope it stands in: tck, tms, tdi, tdo, one bit
// each, are needed; trstn, emu0, emu1, treset (one bit) and tap_state (a vector of four bits, or
// four signals tap_state[3] to tap_state[0]; in the order of TapState) are used when they are
// there. Without tap_state the state is followed from TMS, from Test-Logic-Reset on. x and z read
// as 1, as the lines are pulled up; x on tdo means that nobody looked at it. The comments of a
// trace that has reached its limit are believed: TCKs that are missing at the beginning count, and
// the state is tap_state's. `name` is what errors call the file. Errors (ErrorKind::BadFile): no
// value change dump, a signal missing, a line that breaks the format, a beginning that makes no
// sense.
[[nodiscard]] Result<Waveform> read_vcd(std::istream& stream, const std::string& name,
                                        const Window& window = {});
// The same for a file on disk.
[[nodiscard]] Result<Waveform> read_vcd_file(const std::string& path, const Window& window = {});

// The TCKs of these Shift clocks of a file and of what lies between them and the Shift clocks
// before and behind. Errors: as for read_vcd_file; the trace had reached its limit, and lost them.
[[nodiscard]] Result<Window> window_of_shifts(const std::string& path, const ShiftSpan& span);

} // namespace talvor::waveform
