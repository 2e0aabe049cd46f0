// The commands that put a pod into trouble and out of it again, as lines of text.
//
//   power off|on    clock off|on    emu0 high|low    emu1 high|low
//   fail N          the next N batches fail
//   refuse N        the next N support-register writes are refused
//   latency US      each batch takes that many microseconds longer
//   loopback ok|high-ff|low-ff|high-00|low-00|corrupt
//   cable ok        cable WIRE ok|open|0|1, of tck, tms, tdi, tdo, trst
//   unplug          plug
//   status          the state of all pods as JSON
//
// Of the board behind a pod (PLACE: a net or "device.pin"):
//
//   fault open PLACE            fault stuck PLACE 0|1
//   fault short NET NET... [wired-and|wired-or|strong]
//   fault dead DEVICE [0|1]     fault swapped DEVICE DEVICE
//   mend all                    mend and the words of a fault, with or without the last
//   core PIN 0|1|Z  what the device's own logic drives
//   drive NET 0|1|Z what the board drives
//   level PLACE     the level there, 0 or 1
//   board           the state of the board as JSON
//   registers       instructions and data registers of all devices as JSON
//   register DEVICE NAME VALUE
//
// `pod SERIAL` before a command names the pod; without it a command is meant for the only pod.
#pragma once

#include "common/result.h"
#include "podsim/control/request.h"

#include <string_view>

namespace talvor::podsim::control {

// Parses one line. The reason of a failure names the word that is wrong and what was expected.
[[nodiscard]] Result<Command> parse(std::string_view line);

// The word that the loopback command has for a fault.
std::string_view name_of(LoopFault fault);

} // namespace talvor::podsim::control
