// The words of SVF.
#pragma once

#include "common/tap_state.h"
#include "host/svf/statement.h"

#include <optional>
#include <string_view>

namespace talvor::svf {

// All take words in capitals, and answer nothing for a word that is not theirs.
[[nodiscard]] std::optional<StatementKind> to_statement_kind(std::string_view word) noexcept;
// RESET, IDLE, DRSELECT ... IRUPDATE.
[[nodiscard]] std::optional<TapState> to_tap_state(std::string_view word) noexcept;
// RESET, IDLE, DRPAUSE, IRPAUSE.
[[nodiscard]] std::optional<StableState> to_stable_state(std::string_view word) noexcept;
[[nodiscard]] std::optional<TrstMode> to_trst_mode(std::string_view word) noexcept;

// The word for a state.
[[nodiscard]] std::string_view keyword(TapState state) noexcept;

} // namespace talvor::svf
