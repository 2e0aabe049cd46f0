// What the simulator says about its only pod.
#pragma once

#include "support/podsim_process.h"

#include <string>

namespace endtoend {

// A field of `ctl status`, as text, without quotes. Empty when there is no such field.
inline std::string status_text(const test_support::PodsimProcess& simulator,
                               const std::string& field) {
    const std::string all = simulator.ctl("status");
    const std::string key = "\"" + field + "\":";
    const size_t at = all.find(key);
    if (at == std::string::npos) {
        return "";
    }
    const size_t first = at + key.size();
    std::string value = all.substr(first, all.find_first_of(",}", first) - first);
    std::erase(value, '"');
    return value;
}

inline uint64_t status_number(const test_support::PodsimProcess& simulator,
                              const std::string& field) {
    return std::stoull(status_text(simulator, field));
}

} // namespace endtoend
