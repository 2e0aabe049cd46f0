#include "host/bridge/pod_edge_line.h"

namespace talvor {

// The controller believes the TAP where it was before: from there to Test-Logic-Reset a target that
// stands there already sees ones only.
Status PodEdgeLine::pulse_trst() {
    TRY(port_.flush());
    TRY(port_.pulse_trst());
    return port_.line().move(StableState::Reset);
}

} // namespace talvor
