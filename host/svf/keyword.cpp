#include "host/svf/keyword.h"

#include <array>

namespace talvor::svf {

namespace {

// In the order of TapState.
constexpr std::array<std::string_view, kTapStates> kStates{
    "RESET",    "IDLE",     "DRSELECT",  "DRCAPTURE", "DRSHIFT", "DREXIT1", "DRPAUSE", "DREXIT2",
    "DRUPDATE", "IRSELECT", "IRCAPTURE", "IRSHIFT",   "IREXIT1", "IRPAUSE", "IREXIT2", "IRUPDATE"};

// The first characters tell most words apart, which spares the comparison of the rest.
bool same(std::string_view one, std::string_view other) noexcept {
    return one.size() == other.size() && one.front() == other.front() && one == other;
}

constexpr std::array<uint64_t, kStatementKindCount> kStatementKeys = [] {
    std::array<uint64_t, kStatementKindCount> keys{};
    for (size_t i = 0; i < keys.size(); ++i) {
        keys[i] = word_key(kStatementNames[i]);
    }
    return keys;
}();

// In the order of TrstMode.
constexpr std::array<std::string_view, 4> kTrstModes{"ON", "OFF", "Z", "ABSENT"};

template <typename Value, size_t N>
std::optional<Value> find(const std::array<std::string_view, N>& words,
                          std::string_view word) noexcept {
    for (size_t i = 0; i < N; ++i) {
        if (same(words[i], word)) {
            return static_cast<Value>(i);
        }
    }
    return std::nullopt;
}

} // namespace

std::optional<StatementKind> to_statement_kind(std::string_view word) noexcept {
    return to_statement_kind(word, word_key(word));
}

std::optional<StatementKind> to_statement_kind(std::string_view word, uint64_t key) noexcept {
    for (size_t i = 0; i < kStatementKeys.size(); ++i) {
        if (kStatementKeys[i] == key && kStatementNames[i].size() == word.size() &&
            (word.size() <= 8 || kStatementNames[i] == word)) {
            return static_cast<StatementKind>(i);
        }
    }
    return std::nullopt;
}

std::optional<TapState> to_tap_state(std::string_view word) noexcept {
    return find<TapState>(kStates, word);
}

std::optional<StableState> to_stable_state(std::string_view word) noexcept {
    const std::optional<TapState> state = to_tap_state(word);
    return state ? stable_state(*state) : std::nullopt;
}

std::optional<TrstMode> to_trst_mode(std::string_view word) noexcept {
    return find<TrstMode>(kTrstModes, word);
}

std::string_view keyword(TapState state) noexcept {
    return kStates[static_cast<size_t>(state)];
}

} // namespace talvor::svf
