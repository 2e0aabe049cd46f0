// The pins of a chain with their levels.
#pragma once

#include "common/result.h"
#include "host/boundary/access.h"
#include "host/boundary/image.h"
#include "host/boundary/package.h"
#include "host/boundary/pin_address.h"

#include <cstddef>
#include <optional>
#include <string_view>
#include <vector>

namespace talvor::boundary {

struct PinRow {
    PinAddress address;
    std::optional<Level> level;
    bool changed = false; // since the sample before
};

// Every pin with a cell, in the order of chain and file, of which name or package pin, alone or
// behind the device's name, fits the filter; see fits_filter().
[[nodiscard]] std::vector<PinRow> pin_rows(const std::vector<Member>& members,
                                           std::string_view filter);
// Enters what a sample says, and what has changed by it.
void enter_levels(const std::vector<Member>& members, const Images& samples,
                  std::vector<PinRow>& rows);

// What many samples end with: the TAPs are left in Test-Logic-Reset, also after an error, and when
// a signal has asked for the end; the first error counts.
[[nodiscard]] Status leave_samples(Access& access, Status done);

// The package of a device with the levels of `rows`.
[[nodiscard]] Package package_of(const std::vector<Member>& members, size_t device,
                                 const std::vector<PinRow>& rows);

} // namespace talvor::boundary
