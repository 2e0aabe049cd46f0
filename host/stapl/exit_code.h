// What the exit codes of STAPL mean.
#pragma once

#include <cstdint>
#include <string_view>

namespace talvor::stapl {

// "success", "programming failure"...; what the standard leaves to the vendor is said so.
[[nodiscard]] std::string_view meaning_of_exit(int32_t code) noexcept;

} // namespace talvor::stapl
