// Pins with their levels: as a table, as a block of text that is shown again and again, as JSON, as
// a picture of a package.
#pragma once

#include "host/boundary/access.h"
#include "host/boundary/image.h"
#include "host/boundary/pin_rows.h"
#include "tool/commands/pin_chain.h"
#include "tool/output/output.h"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace talvor {

using boundary::PinRow;

// "0", "1", "Z", "-" where nothing is known.
[[nodiscard]] std::string_view level_text(std::optional<boundary::Level> level) noexcept;

// A head and a table for each device.
void print_pins(const Output& out, const std::vector<boundary::Member>& members,
                const std::vector<PinRow>& rows);
// The same in as few lines as the width allows, at most `height` of them; what has changed is
// marked.
[[nodiscard]] std::vector<std::string> pin_block(const Output& out,
                                                 const std::vector<boundary::Member>& members,
                                                 const std::vector<PinRow>& rows, size_t width,
                                                 size_t height);
[[nodiscard]] Json pins_json(const std::vector<boundary::Member>& members,
                             const std::vector<PinRow>& rows);
// Name and level only.
[[nodiscard]] Json level_json(const std::vector<boundary::Member>& members, const PinRow& row);

} // namespace talvor
