// The protocol that a description names.
#pragma once

#include "podsim/base/target_protocol.h"
#include "podsim/external/protocol.h"

#include <memory>

namespace talvor::podsim::external {

[[nodiscard]] std::unique_ptr<Protocol> make_protocol(TargetProtocol protocol);

} // namespace talvor::podsim::external
