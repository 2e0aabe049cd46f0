// A file of commands that are carried out at fixed points of a pod's life, so that a test needs no
// timing.
//
//   # comment
//   COMMAND                   before the pod is published
//   batch N: COMMAND          just before the pod executes its Nth batch, counted from 1
#pragma once

#include "podsim/control/command.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace talvor::podsim::control {

struct Step {
    uint64_t batch = 0; // 0: at the start
    Command command;
    std::string place; // "file:line", for messages
};

// Reads the steps of a script in their order. The reason of a failure is one line: file, line, what
// was expected. `name` stands for the file in it.
[[nodiscard]] Result<std::vector<Step>> parse_script(std::string_view text,
                                                     const std::string& name);
[[nodiscard]] Result<std::vector<Step>> read_script(const std::string& path);

} // namespace talvor::podsim::control
