// What a chain must keep to before it can be built.
#pragma once

#include "podsim/model/chain_description.h"

#include <cstddef>
#include <optional>
#include <string>

namespace talvor::podsim {

// What is wrong with a description.
struct DescriptionError {
    enum class Where { Device, Register, Rows, Net, BoardNet };
    Where where = Where::Device;
    size_t device = 0;    // index of the device, or of the net
    size_t index = 0;     // index of the register, or of the rows, in its device
    std::string key;      // the field's name, as above
    std::string expected; // what the field must be, as in "at least 2"
};

// The first error of a description, or nothing.
[[nodiscard]] std::optional<DescriptionError> check(const ChainDescription& chain);

} // namespace talvor::podsim
