// The devices of a chain whose pins a command may reach, and pins by the names that a person gives.
#pragma once

#include "common/result.h"
#include "host/boundary/access.h"
#include "host/boundary/image.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace talvor {

class Context;
class Session;

struct PinChain {
    Session* session = nullptr;
    std::vector<boundary::Member> members; // nearest TDI first
};

// Finds the chain (which resets the TAPs) and makes a plan of each device that has a description;
// with `device`, a name or a number from 1, of that device alone, and the others are in BYPASS.
// Errors: as for Session::discover(); no such device; none has a description; the instruction
// lengths are not known.
[[nodiscard]] Result<PinChain> find_pin_chain(Context& context, const std::string& device);

// A signal of a device of the chain.
struct PinAddress {
    size_t device = 0;
    size_t signal = 0; // index into Device::signals

    friend bool operator==(const PinAddress&, const PinAddress&) = default;
};
struct PinSetting {
    PinAddress address;
    boundary::Level level = boundary::Level::Low;
};

// "u1.PA(3)", "u1.PA3", "u1.12"; without the device where only one has such a signal or pin. Errors
// (ErrorKind::Usage): there is none, or several.
[[nodiscard]] Result<PinAddress> find_pin(const std::vector<boundary::Member>& members,
                                          std::string_view text);
// The same with a level: "u1.PA(3)=0", 1 or Z.
[[nodiscard]] Result<PinSetting> parse_setting(const std::vector<boundary::Member>& members,
                                               std::string_view text);
// "u1.PA(3)".
[[nodiscard]] std::string pin_text(const std::vector<boundary::Member>& members,
                                   PinAddress address);
// "u1.PA(3), u1.PA(4)".
[[nodiscard]] std::string pin_texts(const std::vector<boundary::Member>& members, size_t device,
                                    const std::vector<size_t>& signals);

// Whether `text` has `filter` in it, or fits it as a shell's pattern where that has '*' or '?';
// capitals or not. Every text fits an empty one.
[[nodiscard]] bool fits_filter(std::string_view text, std::string_view filter);

} // namespace talvor
