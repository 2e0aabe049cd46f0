// A command as a record.
#pragma once

#include "podsim/model/board_fault.h"
#include "podsim/model/cable.h"
#include "podsim/model/drive.h"
#include "podsim/model/loop_back.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace talvor::podsim::control {

enum class Verb {
    Power,
    Clock,
    Emu0,
    Emu1,
    Fail,
    Refuse,
    Latency,
    Loopback,
    Cable,
    Plug,
    Status,
    // Of the board.
    Fault,
    Mend,
    MendAll,
    Core,
    Drive,
    Level,
    Board,
    Registers,
    Register,
};

struct Command {
    Verb verb{};
    bool on = false;                  // power, clock: there; EMU: high; plug: plugged
    uint32_t number = 0;              // fail, refuse: how many; latency: microseconds
    LoopFault fault{};                // loopback
    std::optional<Wire> wire{};       // cable; nothing: all of them
    WireState wire_state{};           // cable
    std::optional<uint32_t> serial{}; // the pod that is meant
    BoardFault board_fault{};         // fault, mend
    std::string place{};              // core, drive, level; register: the device
    Core core = Core::Off;            // core, drive
    std::string name{};               // register: which of the device's
    std::vector<uint64_t> value{};    // register: the lowest bits in word 0
    bool operator==(const Command&) const = default;
};

// Largest latency: an hour.
inline constexpr uint32_t kMaxLatencyUs = 3'600'000'000U;

// Whether it is about the board behind the pod.
[[nodiscard]] constexpr bool is_of_board(Verb verb) {
    return verb >= Verb::Fault;
}
// Whether it changes nothing, and is answered.
[[nodiscard]] constexpr bool is_question(Verb verb) {
    return verb == Verb::Status || verb == Verb::Level || verb == Verb::Board ||
           verb == Verb::Registers;
}

} // namespace talvor::podsim::control
