// What a file asks of a port, one step at a time, whatever its format. A format's reader makes
// steps, the player plays them.
#pragma once

#include "common/result.h"
#include "host/jtag/bits.h"
#include "host/jtag/port.h"

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace talvor::play {

// Which statement of its format a step comes from: an index into the names that its source has.
using StatementId = uint8_t;

// One of the three stretches of a scan. Values are words as those of Bits; they belong to who made
// the step, and are good until it makes the next one.
struct ScanPart {
    StatementId statement = 0; // whose value it is
    uint64_t length_bits = 0;
    const uint16_t* tdi = nullptr;  // null only when the length is 0
    const uint16_t* tdo = nullptr;  // null: nothing is compared
    const uint16_t* mask = nullptr; // null: all ones

    [[nodiscard]] size_t words() const noexcept {
        return static_cast<size_t>((length_bits + Bits::kWordBits - 1) / Bits::kWordBits);
    }
    [[nodiscard]] bool compares() const noexcept { return tdo != nullptr && length_bits != 0; }
};

// What to do about a wrong answer: so often to wait in Run-Test/Idle, a quarter longer than the
// last time, and to scan again. Only the last answer counts.
struct Retry {
    uint32_t times = 0;
    uint64_t clocks = 0; // of the scan's own wait, which follows it as a step
    std::chrono::nanoseconds time{0};

    friend bool operator==(const Retry&, const Retry&) = default;
};

struct ScanStep {
    ScanPath path = ScanPath::Dr;
    // Header, body, trailer: the header is shifted first.
    std::array<ScanPart, 3> parts;
    uint64_t total_bits = 0;
    StableState end = StableState::Idle;
    Retry retry;
    // The source is told what came (StepSource::answer) and judges it; the player judges nothing.
    bool told = false;

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

struct RunStep {
    StableState state = StableState::Idle;
    uint64_t clocks = 0;
    std::chrono::nanoseconds min_time{0};
    std::optional<std::chrono::nanoseconds> max_time;
    StableState end = StableState::Idle;
};

// How a step is played otherwise than its file says, to the same effect.
enum class NoteKind : uint8_t {
    Road,    // a state path by another road with the same effect on the registers
    Clocks,  // clocks in a state where the port cannot count became a time
    Pulse,   // a line that was held is pulsed
    NoShift, // a scan of no bits only moves to its end state
};
inline constexpr size_t kNoteKinds = 4;

struct Note {
    NoteKind kind = NoteKind::Road;
    std::string text;
};

struct Step {
    enum class Kind : uint8_t { Nothing, Scan, Path, Run, Frequency, Trst, PulseTrst };

    Kind kind = Kind::Nothing;
    StatementId statement = 0;
    uint64_t line = 1;
    uint64_t bytes = 0; // of the file, up to and with the statement
    ScanStep scan;
    std::vector<Leg> legs; // Path
    RunStep run;
    std::optional<double> hertz; // Frequency; nothing is full speed
    TrstLevel trst = TrstLevel::Released;
    std::vector<Note> notes;
    // Set: the statement cannot be played, and this is why, with file and line; the rest of the
    // step means nothing, but the steps after it do.
    std::optional<Error> refusal;
};

} // namespace talvor::play
