#include "common/simulation_shm.h"

#include "common/private_shm.h"
#include "common/process.h"
#include "common/proxy_state.h"

#include <fmt/format.h>

namespace talvor {
namespace {

// "process 17: talvor-podsim five.toml".
std::string process_text(int process) {
    const std::string command = process_command(process);
    return fmt::format("process {}{}{}", process, command.empty() ? "" : ": ", command);
}

// What stands in the way of a simulated pod in the machine's /dev/shm; "" when nothing does.
// Objects that a dead proxy left behind do not: the simulator removes them.
std::string proxy_in_the_way() {
    const ProxyState state = proxy_state();
    switch (state.life) {
    case ProxyLife::Absent:
    case ProxyLife::Dead:
        return "";
    case ProxyLife::Alive:
        return state.process ? fmt::format("a pod proxy serves the machine's ({})",
                                           process_text(*state.process))
                             : "a pod proxy serves the machine's";
    case ProxyLife::Unknown:
        return "in the machine's stand the objects of a pod proxy that keeps no lock";
    }
    return "";
}

} // namespace

Result<std::string> enter_simulation_shm() {
    const Status entered = enter_private_shm();
    if (entered) {
        return std::string();
    }
    const std::string reason = headline(entered.error());
    if (const std::string proxy = proxy_in_the_way(); !proxy.empty()) {
        return pod_error("a /dev/shm of its own", fmt::format("{}; and {}", reason, proxy),
                         "use that proxy's pods, or stop it, or allow namespaces (root, user "
                         "namespaces, or a container that may mount)");
    }
    return fmt::format("no /dev/shm of its own can be had ({}): the simulated pod stands in the "
                       "machine's, where other programs see it",
                       reason);
}

} // namespace talvor
