#include "tool/commands/rate_text.h"

#include <fmt/format.h>

namespace talvor {

std::string rate_text(double value, std::string_view unit) {
    constexpr double kLeastForOneDecimal = 10;
    return value < kLeastForOneDecimal ? fmt::format("{:.3g} {}", value, unit)
                                       : fmt::format("{:.1f} {}", value, unit);
}

} // namespace talvor
