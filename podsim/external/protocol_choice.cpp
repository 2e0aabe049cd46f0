#include "podsim/external/protocol_choice.h"

#include "podsim/external/jtag_vpi.h"
#include "podsim/external/remote_bitbang.h"
#include "podsim/external/xvc.h"

namespace talvor::podsim::external {

std::unique_ptr<Protocol> make_protocol(TargetProtocol protocol) {
    switch (protocol) {
    case TargetProtocol::Xvc:
        return std::make_unique<Xvc>();
    case TargetProtocol::JtagVpi:
        return std::make_unique<JtagVpi>();
    case TargetProtocol::RemoteBitbang:
        break;
    }
    return std::make_unique<RemoteBitbang>();
}

} // namespace talvor::podsim::external
