#include "host/stapl/exit_code.h"

#include <array>
#include <cstddef>

namespace talvor::stapl {

namespace {

constexpr std::array<std::string_view, 18> kMeanings{
    "success",
    "the chain is not as it should be",
    "reading the IDCODE failed",
    "reading the USERCODE failed",
    "reading the UESCODE failed",
    "entering the programming mode failed",
    "the device is another one",
    "this version of the device is not supported",
    "erasing failed",
    "the device is not blank",
    "programming failed",
    "verifying failed",
    "reading failed",
    "calculating the checksum failed",
    "setting the security bit failed",
    "asking for the security bit failed",
    "leaving the programming mode failed",
    "the system test failed",
};

} // namespace

std::string_view meaning_of_exit(int32_t code) noexcept {
    if (code >= 0 && static_cast<size_t>(code) < kMeanings.size()) {
        return kMeanings[static_cast<size_t>(code)];
    }
    return "a code of the file's maker: its documents say what it means";
}

} // namespace talvor::stapl
