// The state of pods as text for the operator.
#pragma once

#include "podsim/pod/simulated_pod.h"

#include <string>
#include <vector>

namespace talvor::podsim {

// One line of JSON: {"pods":[...]}, keys in the order of the manual.
[[nodiscard]] std::string json_of(const std::vector<pod::Report>& reports);

} // namespace talvor::podsim
