// Pins that are driven through boundary registers: from what a person wants to what goes out, and
// what is read under it.
#pragma once

#include "common/result.h"
#include "host/boundary/access.h"
#include "host/boundary/image.h"
#include "host/boundary/pin_address.h"
#include "host/boundary/test_mode.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace talvor::boundary {

// Of "extest", "clamp", "highz" and "intest"; nothing of other words.
[[nodiscard]] std::optional<Instruction> driving_instruction(std::string_view word) noexcept;

struct DriveWays {
    Instruction instruction = Instruction::Extest; // or Clamp, HighZ, Intest
    bool accepted = false;                         // also what happens to pins that nobody named
};

// `images` with the settings in them; where that is accepted, what happens to pins that nobody
// named comes behind `notes`. Errors: as for put_levels() and put_core_inputs(); a shared cell
// enables, disables or drives other pins (ErrorKind::Refused).
[[nodiscard]] Result<Images> images_with(const Access& access,
                                         const std::vector<PinSetting>& settings,
                                         const DriveWays& ways, Images images,
                                         std::vector<std::string>& notes);
// `images` with the pins of the settings at another level; nothing of their cells is told.
[[nodiscard]] Result<Images> images_at(const Access& access, std::vector<PinSetting> settings,
                                       Level level, Images images);

// The devices that settings name, or all with a description where they name none; the others stay
// in BYPASS, and their targets run on.
[[nodiscard]] std::vector<Instruction> instructions_for(const Access& access,
                                                        const std::vector<PinSetting>& settings,
                                                        Instruction instruction);
// Outputs that drive beside those that were set, since nothing disables them in the safe image: a
// sentence a device.
[[nodiscard]] std::vector<std::string>
notes_of_driving(const Access& access, const std::vector<Instruction>& instructions,
                 const std::vector<PinSetting>& settings);

// EXTEST begins with safe values, and is then given the others; the rest takes what was preloaded.
// Errors: as for TestMode::enter() and Access::exchange().
[[nodiscard]] Status drive(TestMode& test, Access& access,
                           const std::vector<Instruction>& instructions, const Images& images);

// A pin that was set, and what it reads.
struct PinOutcome {
    PinAddress address;
    std::optional<Level> set;
    std::optional<Level> read;
};
// Captures under the images in force: what the pins that were set read, or, with INTEST, what the
// system logic answers. CLAMP has the register aside, so nothing is read.
[[nodiscard]] Result<std::vector<PinOutcome>> read_back(Access& access,
                                                        const std::vector<PinSetting>& settings,
                                                        const Images& images,
                                                        Instruction instruction);
// Why the pin has not the level that it was set to: something else drives it, or its driver is an
// open one; "" when it has.
[[nodiscard]] std::string contention_text(const std::vector<Member>& members,
                                          const PinOutcome& outcome);

} // namespace talvor::boundary
