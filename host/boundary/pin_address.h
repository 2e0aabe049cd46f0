// Pins by the names that a person gives them.
#pragma once

#include "common/result.h"
#include "host/boundary/access.h"
#include "host/boundary/image.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace talvor::boundary {

// A signal of a device of the chain.
struct PinAddress {
    size_t device = 0;
    size_t signal = 0; // index into Device::signals

    friend bool operator==(const PinAddress&, const PinAddress&) = default;
};
struct PinSetting {
    PinAddress address;
    Level level = Level::Low;
};

// "u1.PA(3)", "u1.PA3", "u1.12"; without the device where only one has such a signal or pin. Errors
// (ErrorKind::Usage): there is none, or several.
[[nodiscard]] Result<PinAddress> find_pin(const std::vector<Member>& members,
                                          std::string_view text);
// The same with a level: "u1.PA(3)=0", 1 or Z.
[[nodiscard]] Result<PinSetting> parse_setting(const std::vector<Member>& members,
                                               std::string_view text);
// "u1.PA(3)".
[[nodiscard]] std::string pin_text(const std::vector<Member>& members, PinAddress address);
// "u1.PA(3), u1.PA(4)".
[[nodiscard]] std::string pin_texts(const std::vector<Member>& members, size_t device,
                                    const std::vector<size_t>& signals);

// Whether `text` has `filter` in it, or fits it as a shell's pattern where that has '*' or '?';
// capitals or not. Every text fits an empty one.
[[nodiscard]] bool fits_filter(std::string_view text, std::string_view filter);

} // namespace talvor::boundary
