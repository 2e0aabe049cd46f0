// A device of the chain as its BSDL file describes it.
#pragma once

#include "common/bsdl/model.h"
#include "common/result.h"
#include "podsim/model/chain_description.h"

#include <memory>
#include <string>

namespace talvor::podsim {

// The device with the name `name` in the chain: its instructions, IDCODE, USERCODE, its boundary
// register, and for each other register whose length the file says one that captures what the file
// says, else what was updated. Outputs that always drive are low at power-on, all others off.
//
// Modelling decisions: bits that the file leaves open (X) of an IDCODE, a USERCODE or a capture are
// 0, and of several IDCODEs the first counts. An instruction of a register without a length selects
// BYPASS. RUNBIST drives the pins as the cells say, or none where the file says HIGHZ; it changes
// nothing.
//
// Errors (ErrorKind::Refused): what the simulator cannot be, as an instruction register of more
// than 64 bits.
[[nodiscard]] Result<DeviceDescription> device_of(std::string name,
                                                  std::shared_ptr<const bsdl::Device> device);

} // namespace talvor::podsim
