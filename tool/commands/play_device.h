// What --device says of a file that is played: the device of the chain that it is for.
#pragma once

#include "common/result.h"
#include "host/chain/device_port.h"

#include <cstddef>
#include <optional>
#include <string>

namespace talvor {

class Context;
class Session;

// With no choice it is the whole chain, and the port is the session's own.
class PlayDevice {
public:
    // May the chain be read before the file is played?
    enum class Look : uint8_t {
        Yes,
        ShiftsNothing, // a dry run
        ResetsNothing, // the TAPs are to stay as they are
    };

    // The session outlives it. `choice` is a name or a number, see find_device(); "" is none.
    PlayDevice(Session& session, std::string choice, Look look);

    // What the file is checked against and played on.
    [[nodiscard]] JtagPort& port() noexcept;
    // Before the file is checked, from what is known without touching the target. Errors
    // (ErrorKind::Usage): there is no such device; nothing is known, and nobody may look.
    [[nodiscard]] Status describe(const Context& context);
    // Before it is played: reads the chain, where that is allowed. Errors: those of the discovery;
    // there is no such device.
    [[nodiscard]] Status find();
    // When it has been played: the other devices get what they still need.
    [[nodiscard]] Status leave();

    // From 1; nothing before it was found.
    [[nodiscard]] std::optional<size_t> number() const noexcept { return number_; }
    // As the board file has it, may be empty.
    [[nodiscard]] const std::string& name() const noexcept { return name_; }

private:
    [[nodiscard]] Status stand(const Chain& chain, IdCodes codes);

    Session& session_;
    std::string choice_;
    Look look_;
    DevicePort port_;
    std::optional<size_t> number_;
    std::string name_;
};

} // namespace talvor
