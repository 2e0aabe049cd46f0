// The description file: which pods there are, what stands behind them, in TOML.
#pragma once

#include "common/result.h"
#include "podsim/base/target_protocol.h"
#include "podsim/control/command.h"
#include "podsim/model/chain_description.h"
#include "podsim/model/controller.h"

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace talvor::podsim::description {

// A program that serves one of the protocols of external targets.
struct External {
    std::string address{}; // "host:port", "port" or "/path" of a UNIX socket
    TargetProtocol protocol = TargetProtocol::RemoteBitbang;
    bool send_resets = false;                 // send its requests for TRSTn and system reset
    bool quit = false;                        // end it when the simulator ends
    std::chrono::milliseconds patience{5000}; // longest wait for an answer
    bool operator==(const External&) const = default;
};

struct Pod {
    uint32_t serial{};
    ControllerSettings controller;
    std::vector<control::Command> faults; // at start, in order
    std::variant<ChainDescription, External> target;
};

struct Description {
    std::vector<Pod> pods; // at least one
};

// Reads a description. The reason of a failure is one line: file, line, key, what was expected.
// `name` stands for the file in it.
[[nodiscard]] Result<Description> parse(std::string_view text, const std::string& name);
// Reads the file `path`.
[[nodiscard]] Result<Description> read(const std::string& path);
// The description that is used without a file: a single pod with a single TAP.
Description built_in();
// The text of a description that can be had without a file: "single", which built_in() is, or
// "five", a chain of five devices. Empty for any other name.
[[nodiscard]] std::string_view built_in_text(std::string_view name);

} // namespace talvor::podsim::description
