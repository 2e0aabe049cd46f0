#include "podsim/proxy/processor.h"

#include <sched.h>

namespace talvor::podsim::proxy {
namespace {

constexpr pid_t kThisThread = 0;

} // namespace

bool leave_processor() noexcept {
    cpu_set_t
        allowed; // as many processors as the set has room for; of more the kernel does not tell
    if (sched_getaffinity(kThisThread, sizeof allowed, &allowed) != 0) {
        return false;
    }
    cpu_set_t others = allowed;
    const int here = sched_getcpu();
    if (here < 0 || here >= CPU_SETSIZE) {
        return false;
    }
    CPU_CLR(static_cast<unsigned>(here), &others);
    if (CPU_COUNT(&others) == 0 || sched_setaffinity(kThisThread, sizeof others, &others) != 0) {
        return false;
    }
    sched_setaffinity(kThisThread, sizeof allowed, &allowed);
    return true;
}

} // namespace talvor::podsim::proxy
