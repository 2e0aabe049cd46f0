// The words of SVF.
#pragma once

#include "common/tap_state.h"
#include "host/svf/statement.h"

#include <cstdint>
#include <optional>
#include <string_view>

namespace talvor::svf {

// The last eight characters of a word as a number: words of up to eight characters are the same
// when their keys are. The lexer makes it while it reads, so that comparing words costs next to
// nothing.
constexpr uint64_t word_key(std::string_view word) noexcept {
    uint64_t key = 0;
    for (const char c : word) {
        key = (key << 8) | static_cast<unsigned char>(c);
    }
    return key;
}

// All take words in capitals, and answer nothing for a word that is not theirs.
[[nodiscard]] std::optional<StatementKind> to_statement_kind(std::string_view word) noexcept;
// The same, with the key of `word` at hand.
[[nodiscard]] std::optional<StatementKind> to_statement_kind(std::string_view word,
                                                             uint64_t key) noexcept;
// RESET, IDLE, DRSELECT ... IRUPDATE.
[[nodiscard]] std::optional<TapState> to_tap_state(std::string_view word) noexcept;
// RESET, IDLE, DRPAUSE, IRPAUSE.
[[nodiscard]] std::optional<StableState> to_stable_state(std::string_view word) noexcept;
[[nodiscard]] std::optional<TrstMode> to_trst_mode(std::string_view word) noexcept;

// The word for a state.
[[nodiscard]] std::string_view keyword(TapState state) noexcept;

} // namespace talvor::svf
