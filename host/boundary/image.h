// Levels of pins in the image of a boundary register: putting them in, and reading them out.
#pragma once

#include "common/result.h"
#include "host/boundary/plan.h"
#include "host/jtag/bits.h"

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace talvor::boundary {

enum class Level : uint8_t { Low, High, Z };

// "0", "1", "Z".
[[nodiscard]] std::string_view text_of(Level level) noexcept;

struct Setting {
    size_t signal = 0; // index into Device::signals
    Level level = Level::Low;

    friend bool operator==(const Setting&, const Setting&) = default;
};

// What settings do to pins that they do not name: indices into Device::signals, ascending.
struct SideEffects {
    std::vector<size_t> enabled;  // outputs that drive now, enabled by a shared control cell
    std::vector<size_t> disabled; // outputs that drive no longer, for the same reason
    std::vector<size_t> driven;   // outputs whose level a shared cell gives

    [[nodiscard]] bool none() const noexcept {
        return enabled.empty() && disabled.empty() && driven.empty();
    }
};

// Puts levels of outputs into `image`, data and control cells; which pins nobody named are driven
// or let go by it compared with `image` as it was, the answer tells. On an error `image` is
// unchanged. Errors (ErrorKind::Refused): no such output; an output that nothing can disable is to
// be Z; two settings want different things of one cell.
[[nodiscard]] Result<SideEffects> put_levels(const Plan& plan, std::span<const Setting> settings,
                                             Bits& image);
// The same for the inputs of the system logic, which INTEST takes from the cells: those of Input,
// Clock and Bidir cells. Z is refused.
[[nodiscard]] Status put_core_inputs(const Plan& plan, std::span<const Setting> settings,
                                     Bits& image);

// Whether `image` makes the output drive, and its level then.
[[nodiscard]] Level driven_level(const Plan& plan, const Pin& pin, const Bits& image);

// The level that a capture tells of a pin; nothing: it tells none.
//   SAMPLE, PRELOAD: that of the observing cell; for an output without one what the system logic
//   gives, Z while its captured control cell disables it.
//   EXTEST: that of the observing cell, or of an output's cell that watches its pin; for other
//   outputs what `held` drives, the image that was in force at the capture.
[[nodiscard]] std::optional<Level> sampled_level(const Plan& plan, const Pin& pin,
                                                 const Bits& captured);
[[nodiscard]] std::optional<Level> extest_level(const Plan& plan, const Pin& pin,
                                                const Bits& captured, const Bits& held);
// INTEST: what the system logic gives to the output's cell, Z while it disables it; nothing for
// pins without an output.
[[nodiscard]] std::optional<Level> intest_level(const Plan& plan, const Pin& pin,
                                                const Bits& captured);

} // namespace talvor::boundary
