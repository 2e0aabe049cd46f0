#include "podsim/model/board_description.h"

#include <algorithm>

namespace talvor::podsim {

// A name that is written as the signal's own comes first: names of plain pins may differ in
// capitals only.
std::optional<size_t> find_pin_of(const bsdl::Device& device, const std::string& name) {
    const auto same = std::ranges::find(device.signals, name, &bsdl::Signal::name);
    return same != device.signals.end()
               ? std::optional(static_cast<size_t>(same - device.signals.begin()))
               : bsdl::find_signal(device, name);
}

Status check_core(const bsdl::Device& device, size_t pin, Core core) {
    const std::string& name = device.signals[pin].name;
    if (device.signals[pin].mode == bsdl::PortMode::In) {
        return refused_error({},
                             name + " is an input, which the device's own logic does not drive");
    }
    const bool always = std::ranges::any_of(device.cells, [&](const bsdl::Cell& cell) {
        return cell.signal == pin && cell.function == bsdl::CellFunction::Output2 && !cell.control;
    });
    if (core == Core::Off && always) {
        return refused_error({}, name + " is always driven: expected 0 or 1");
    }
    return {};
}

} // namespace talvor::podsim
