// The pins of a chain's devices, their boundary-scan cells and the nets between them, as plain
// values.
#pragma once

#include "common/bsdl/model.h"
#include "common/result.h"
#include "podsim/model/board_fault.h"
#include "podsim/model/cell_capture.h"
#include "podsim/model/drive.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace talvor::podsim {

// The boundary-scan register of a device.
struct BoundaryDescription {
    // Its signals, which are the pins, and its cells.
    std::shared_ptr<const bsdl::Device> device;
    // At power-on, for each signal; those that are missing are Off.
    std::vector<Core> core;
    // What an input that is on no net finds there, for each signal; nothing: it floats.
    std::vector<std::optional<bool>> unconnected;
};

// What instructions select, beside those that registers name themselves.
struct InstructionDescription {
    enum class Selects : uint8_t { Bypass, Idcode, Boundary, Register };

    uint64_t value = 0; // an instruction whose bits under `mask` are these
    uint64_t mask = 0;
    Selects selects = Selects::Bypass;
    size_t register_index = 0; // of Selects::Register: in the device's list
    TestMode mode = TestMode::Normal;
};

// A pin; indices into the lists of devices and of pins.
struct PinPlace {
    size_t device = 0;
    size_t pin = 0;

    friend bool operator==(const PinPlace&, const PinPlace&) = default;
};

// What joins pins.
struct BoardNet {
    std::string name; // "" of one that has none
    std::vector<PinPlace> pins;
    std::optional<bool> pull;     // a resistor to supply or ground
    std::optional<bool> drive;    // what something else on the board drives
    std::optional<bool> floating; // what is read while nothing drives it; else as the board says
};

struct BoardDescription {
    std::vector<BoardNet> nets;
    std::vector<BoardFault>
        faults;           // from the start, in order; one at a place that is not is left out
    bool floating = true; // what a pin reads that nothing drives
};

// A signal of a device by its name, or by its package pin. An index into device.signals.
[[nodiscard]] std::optional<size_t> find_pin_of(const bsdl::Device& device,
                                                const std::string& name);
// Whether the device's own logic can do that at the pin. Errors (ErrorKind::Refused): an input; an
// output that always drives cannot be off.
[[nodiscard]] Status check_core(const bsdl::Device& device, size_t pin, Core core);

} // namespace talvor::podsim
