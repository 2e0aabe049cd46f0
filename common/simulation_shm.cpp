#include "common/simulation_shm.h"

#include "common/private_shm.h"
#include "common/process.h"
#include "common/proxy_state.h"

#include <fmt/format.h>

#include <atomic>
#include <cstdlib>
#include <string>
#include <sys/stat.h>
#include <sys/types.h>

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

// The mount namespace of this thread, as a number that no other one has; 0 when it cannot be told.
ino_t mount_namespace() {
    struct stat facts {};
    return stat("/proc/thread-self/ns/mnt", &facts) == 0 ? facts.st_ino : 0;
}

// That of the last private /dev/shm that was entered.
std::atomic<ino_t>& own_namespace() {
    static std::atomic<ino_t> number{0};
    return number;
}

// In one that this program, or the one that has started it, has entered.
bool stands_in_own() {
    const ino_t here = mount_namespace();
    const char* given = std::getenv(kPrivateShmVariable);
    return here != 0 &&
           (here == own_namespace() || (given != nullptr && std::to_string(here) == given));
}

} // namespace

Result<std::string> enter_simulation_shm() {
    if (stands_in_own() && proxy_in_the_way().empty()) {
        return std::string();
    }
    const Status entered = enter_private_shm();
    if (entered) {
        own_namespace() = mount_namespace();
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
