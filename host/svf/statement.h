// What one statement of an SVF file says, before anything is carried over from earlier ones.
#pragma once

#include "common/tap_state.h"
#include "host/jtag/bits.h"
#include "host/jtag/port.h"

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

namespace talvor::svf {

enum class StatementKind : uint8_t {
    Sdr,
    Sir,
    Hdr,
    Hir,
    Tdr,
    Tir,
    State,
    EndDr,
    EndIr,
    RunTest,
    Frequency,
    Trst,
    Pio,
    PioMap,
};
inline constexpr size_t kStatementKindCount = 14;

inline constexpr std::array<std::string_view, kStatementKindCount> kStatementNames{
    "SDR",   "SIR",   "HDR",     "HIR",       "TDR",  "TIR", "STATE",
    "ENDDR", "ENDIR", "RUNTEST", "FREQUENCY", "TRST", "PIO", "PIOMAP"};
[[nodiscard]] constexpr std::string_view name(StatementKind kind) noexcept {
    return kStatementNames[static_cast<size_t>(kind)];
}

// A value in parentheses, when it is there.
struct HexParameter {
    bool given = false;
    Bits value; // as long as the statement's length; meaningless unless `given`
};

// SDR, SIR and the header and trailer statements.
struct ScanText {
    uint64_t length_bits = 0;
    HexParameter tdi;
    HexParameter tdo;
    HexParameter mask;
    HexParameter smask;
};

// One of the values of a scan statement.
struct ScanParameter {
    std::string_view keyword;
    HexParameter ScanText::*value;
};

struct RunTestText {
    std::optional<StableState> run_state;
    std::optional<uint64_t> count;
    ClockLine clock = ClockLine::Tck; // when there is a count
    std::optional<std::chrono::nanoseconds> min_time;
    std::optional<std::chrono::nanoseconds> max_time; // never below min_time
    std::optional<StableState> end_state;
};

enum class TrstMode : uint8_t { On, Off, Z, Absent };

// Only the members of `kind` mean anything: a statement is filled again and again so that its
// memory is used again.
struct Statement {
    StatementKind kind = StatementKind::State;
    uint64_t line = 1; // where it starts
    ScanText scan;
    std::vector<TapState> path;                // STATE: never empty, ends in a stable state
    StableState end_state = StableState::Idle; // ENDDR, ENDIR
    RunTestText run;
    std::optional<double> hertz; // FREQUENCY; nothing is full speed
    TrstMode trst = TrstMode::Off;
};

} // namespace talvor::svf
