// The wires between pod and target, and what may be wrong with each.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

namespace talvor::podsim {

enum class Wire : uint8_t { Tck, Tms, Tdi, Tdo, Trst };

enum class WireState : uint8_t {
    Whole,
    Open, // broken: nothing gets through
    Low,  // touches ground
    High, // touches the supply
};

// The words of commands and reports.
inline constexpr std::array<std::string_view, 5> kWireNames{"tck", "tms", "tdi", "tdo", "trst"};
inline constexpr std::array<std::string_view, 4> kWireStateNames{"ok", "open", "0", "1"};

// Modelling decisions about the far end of a broken wire:
// - TMS, TDI, TRSTn and, at the pod, TDO are pulled up: an open one reads 1.
// - Without edges on TCK the target sees nothing, whichever level stands there. The pod does not
//   notice: it looks at the clock before the cable.
// - While TRSTn is low the TAPs stay in Test-Logic-Reset; the target is shown TMS high meanwhile,
//   which keeps it there as well.
// - A trace shows what the target sees and drives: TDO before it is broken.
class Cable {
public:
    [[nodiscard]] WireState state(Wire wire) const { return wires_[static_cast<size_t>(wire)]; }
    void set(Wire wire, WireState state) { wires_[static_cast<size_t>(wire)] = state; }
    [[nodiscard]] bool whole() const { return wires_ == decltype(wires_){}; }
    [[nodiscard]] bool whole(Wire wire) const { return state(wire) == WireState::Whole; }
    // What the far end reads all the time; nothing: what is driven.
    [[nodiscard]] std::optional<bool> held(Wire wire) const {
        return whole(wire) ? std::nullopt : std::optional(state(wire) != WireState::Low);
    }

    bool operator==(const Cable&) const = default;

private:
    std::array<WireState, kWireNames.size()> wires_{};
};

} // namespace talvor::podsim
