// What a bridge cannot give a target exactly as its client gives it, and how often that was.
#pragma once

#include "common/result.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <utility>

namespace talvor {

enum class Inexact : uint8_t {
    IdleClocks,      // clocks in Run-Test/Idle that the target got beyond the client's
    PauseClocks,     // clocks that the client stayed in a Pause state, which nobody counts out
    ResetClocks,     // the same in Test-Logic-Reset, beyond those of a usual reset
    TrstHeld,        // TRST asserted: a pulse
    SrstHeld,        // the system reset asserted: a pulse
    TdoOutsideShift, // TDO asked for where no TAP drives it: 1
    HeldBack,        // bits that had not come out of a register that must not run ahead: 1
    LengthUnknown,   // scans out of whose register nothing came that went in
};

inline constexpr size_t kInexactKinds = 8;

// A word for summaries, and for the keys of JSON: "idle_clocks".
[[nodiscard]] const char* word_of(Inexact kind) noexcept;
// What it means, in one sentence without a full stop.
[[nodiscard]] const char* sentence(Inexact kind) noexcept;

// Called when a kind happens for the first time.
using InexactHook = std::function<void(Inexact kind, const std::string& text)>;

class InexactCounts {
public:
    // With `strict` nothing of all that may happen.
    InexactCounts(bool strict, InexactHook hook) : strict_(strict), hook_(std::move(hook)) {}

    [[nodiscard]] bool strict() const noexcept { return strict_; }
    [[nodiscard]] uint64_t of(Inexact kind) const noexcept {
        return counts_[static_cast<size_t>(kind)];
    }
    // `count` times more of it; for 0 nothing. `detail` is told with the first. An error
    // (ErrorKind::Refused) under strict; it counts there, too.
    [[nodiscard]] Status add(Inexact kind, uint64_t count, const std::string& detail = {});

private:
    bool strict_;
    InexactHook hook_;
    std::array<uint64_t, kInexactKinds> counts_{};
};

} // namespace talvor
