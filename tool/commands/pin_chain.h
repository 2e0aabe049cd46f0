// The devices of a chain whose pins a command may reach.
#pragma once

#include "common/result.h"
#include "host/boundary/access.h"
#include "host/boundary/pin_address.h"

#include <cstdint>
#include <string>
#include <vector>

namespace talvor {

class Context;
class Session;

using boundary::PinAddress;
using boundary::PinSetting;

struct PinChain {
    Session* session = nullptr;
    std::vector<boundary::Member> members; // nearest TDI first
};

enum class PinUse : uint8_t {
    Listen, // the pins are the system logic's
    Drive,
};

// Finds the chain (which resets the TAPs), and what boundary::members_of() makes of it; notes what
// that notes. Errors: as for Session::discover() and members_of(); (ErrorKind::Target, of Drive) a
// description is that of another part.
[[nodiscard]] Result<PinChain> find_pin_chain(Context& context, const std::string& device,
                                              PinUse use);

} // namespace talvor
