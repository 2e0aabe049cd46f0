#include "host/bridge/inexact.h"

#include <fmt/format.h>

#include <algorithm>

namespace talvor {
namespace {

struct KindText {
    const char* word;
    const char* sentence;
};

constexpr std::array<KindText, kInexactKinds> kTexts{{
    {"idle_clocks", "the pod stays in Run-Test/Idle for 1, 8, 15, ... clocks, so that the target "
                    "gets up to six more than the client gives"},
    {"pause_clocks", "clocks that the client stays in a Pause state are not counted out to the "
                     "target"},
    {"reset_clocks", "clocks that the client stays in Test-Logic-Reset are not counted out to the "
                     "target"},
    {"trst_held", "TRST cannot be held: the target gets a pulse, and its TAPs stay in "
                  "Test-Logic-Reset until the client lets go"},
    {"srst_held", "the system reset cannot be held: the target gets a pulse"},
    {"tdo_outside_shift", "no TAP drives TDO outside the Shift states: it reads 1"},
    {"held_back", "the last 16 bits of each answer of a register that must not run ahead have not "
                  "come out of the return path by then: they read 1"},
    {"length_unknown",
     "what goes in at TDI does not come out of the register, so that one that is "
     "longer than the scan is left with the client's bits in the wrong place; of one that "
     "counts clocks or streams, name the instruction with --no-lookahead"},
}};

} // namespace

const char* word_of(Inexact kind) noexcept {
    return kTexts[static_cast<size_t>(kind)].word;
}

const char* sentence(Inexact kind) noexcept {
    return kTexts[static_cast<size_t>(kind)].sentence;
}

Status InexactCounts::add(Inexact kind, uint64_t count, const std::string& detail) {
    if (count == 0) {
        return {};
    }
    uint64_t& counted = counts_[static_cast<size_t>(kind)];
    const bool first = counted == 0;
    counted += count;
    std::string text = sentence(kind);
    if (!detail.empty()) {
        text += fmt::format(" ({})", detail);
    }
    if (first && hook_) {
        hook_(kind, text);
    }
    if (!strict_) {
        return {};
    }
    std::string thing = word_of(kind);
    std::ranges::replace(thing, '_', ' ');
    return refused_error(std::move(thing), std::move(text), "without --strict it is only counted");
}

} // namespace talvor
