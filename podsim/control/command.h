// The commands that put a pod into trouble and out of it again, as lines of text.
//
//   power off|on    clock off|on    emu0 high|low    emu1 high|low
//   fail N          the next N batches fail
//   refuse N        the next N support-register writes are refused
//   latency US      each batch takes that many microseconds longer
//   loopback ok|high-ff|low-ff|high-00|low-00|corrupt
//   unplug          plug
//   status          the state of all pods as JSON
//
// `pod SERIAL` before a command names the pod; without it a command is meant for the only pod.
#pragma once

#include "common/result.h"
#include "podsim/model/loop_back.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace talvor::podsim::control {

enum class Verb { Power, Clock, Emu0, Emu1, Fail, Refuse, Latency, Loopback, Plug, Status };

struct Command {
    Verb verb{};
    bool on = false;                  // power, clock: there; EMU: high; plug: plugged
    uint32_t number = 0;              // fail, refuse: how many; latency: microseconds
    LoopFault fault{};                // loopback
    std::optional<uint32_t> serial{}; // the pod that is meant
    bool operator==(const Command&) const = default;
};

// Largest latency: an hour.
inline constexpr uint32_t kMaxLatencyUs = 3'600'000'000U;

// Parses one line. The reason of a failure names the word that is wrong and what was expected.
[[nodiscard]] Result<Command> parse(std::string_view line);

// The word that the loopback command has for a fault.
std::string_view name_of(LoopFault fault);

} // namespace talvor::podsim::control
