// What a statement asks of a port once everything that carries over has been added.
#pragma once

#include "host/jtag/bits.h"
#include "host/jtag/port.h"
#include "host/svf/statement.h"

#include <array>
#include <chrono>
#include <cstdint>
#include <optional>
#include <vector>

namespace talvor::svf {

// One of the three stretches of a scan. The pointers are the planner's and good until it plans the
// next statement.
struct ScanPart {
    StatementKind kind = StatementKind::Sdr; // whose value it is
    uint64_t length_bits = 0;
    const Bits* tdi = nullptr;  // null only when the length is 0
    const Bits* tdo = nullptr;  // null: nothing is compared
    const Bits* mask = nullptr; // null: all ones

    [[nodiscard]] bool compares() const noexcept { return tdo != nullptr && length_bits != 0; }
};

struct PlannedScan {
    ScanPath path = ScanPath::Dr;
    // Header, body, trailer: the header is shifted first.
    std::array<ScanPart, 3> parts;
    uint64_t total_bits = 0;
    StableState end = StableState::Idle;

    [[nodiscard]] bool compares() const noexcept {
        return parts[0].compares() || parts[1].compares() || parts[2].compares();
    }
};

// A piece of a state path.
struct Leg {
    enum class Kind : uint8_t {
        Reset, // to Test-Logic-Reset by TMS ones
        Move,  // along the port's route
        Stay,  // so many clocks where the TAP stands
    };
    Kind kind = Kind::Move;
    StableState to = StableState::Idle;
    uint64_t clocks = 0; // Stay

    friend bool operator==(const Leg&, const Leg&) = default;
};

struct PlannedRun {
    StableState state = StableState::Idle;
    uint64_t clocks = 0;
    std::chrono::nanoseconds min_time{0};
    std::optional<std::chrono::nanoseconds> max_time;
    StableState end = StableState::Idle;
};

struct Step {
    enum class Kind : uint8_t { Nothing, Scan, Path, Run, Frequency, Trst };

    Kind kind = Kind::Nothing;
    StatementKind statement = StatementKind::State;
    uint64_t line = 1;
    PlannedScan scan;
    std::vector<Leg> legs; // Path
    PlannedRun run;
    std::optional<double> hertz; // Frequency; nothing is full speed
    TrstLevel trst = TrstLevel::Released;
};

} // namespace talvor::svf
