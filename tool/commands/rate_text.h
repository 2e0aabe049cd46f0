// How rates are shown.
#pragma once

#include <string>
#include <string_view>

namespace talvor {

// "183.4 1/s": one decimal, or three digits where that would leave fewer.
[[nodiscard]] std::string rate_text(double value, std::string_view unit);

} // namespace talvor
