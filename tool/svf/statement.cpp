#include "svf/statement.h"

#include <array>

namespace talvor::svf {

std::string_view name(StatementKind kind) noexcept {
    constexpr std::array<std::string_view, kStatementKindCount> kNames{
        "SDR",   "SIR",   "HDR",     "HIR",       "TDR",  "TIR", "STATE",
        "ENDDR", "ENDIR", "RUNTEST", "FREQUENCY", "TRST", "PIO", "PIOMAP"};
    return kNames[static_cast<size_t>(kind)];
}

} // namespace talvor::svf
