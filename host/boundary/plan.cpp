#include "host/boundary/plan.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <map>
#include <string_view>
#include <utility>

namespace talvor::boundary {
namespace {

using bsdl::Cell;
using bsdl::CellFunction;
using bsdl::Device;

bool is_control(const Cell& cell) {
    return cell.function == CellFunction::Control || cell.function == CellFunction::ControlR;
}
bool is_output(const Cell& cell) {
    return cell.function == CellFunction::Output2 || cell.function == CellFunction::Output3 ||
           cell.function == CellFunction::Bidir;
}
// It watches the pin whatever another cell drives.
bool only_watches(const Cell& cell) {
    return cell.function == CellFunction::Input || cell.function == CellFunction::Clock ||
           cell.function == CellFunction::ObserveOnly;
}

// The standard's cells that capture the level behind the output's driver under EXTEST.
bool captures_its_pin(const Cell& cell) {
    constexpr std::array<std::string_view, 4> kTypes{"BC_7", "BC_8", "BC_9", "BC_10"};
    return std::ranges::any_of(
        kTypes, [&cell](std::string_view type) { return same_name(type, cell.type); });
}

Status check_cells(const Device& device) {
    if (device.boundary_bits == 0) {
        return file_error("BSDL of " + device.name, "it describes no boundary register",
                          "use a file with BOUNDARY_LENGTH and BOUNDARY_REGISTER");
    }
    for (const Cell& cell : device.cells) {
        const size_t highest = std::max(cell.number, cell.control.value_or(0));
        if (highest >= device.boundary_bits || cell.signal.value_or(0) >= device.signals.size()) {
            return file_error(
                "BSDL of " + device.name,
                fmt::format("cell {} in line {} is none of the {} of its boundary register",
                            highest, cell.place.line, device.boundary_bits),
                "'talvor bsdl --check FILE' says more");
        }
    }
    return {};
}

// Controls come last: a merged cell that is one holds what a control should.
Bits safe_image(const Device& device) {
    Bits image(device.boundary_bits);
    std::vector<bool> said(device.boundary_bits, false);
    for (const bool controls : {false, true}) {
        for (const Cell& cell : device.cells) {
            if (is_control(cell) == controls && cell.safe != 'X') {
                image.set(cell.number, cell.safe == '1');
                said[cell.number] = true;
            }
        }
    }
    for (const Cell& cell : device.cells) {
        if (is_output(cell) && cell.control && !said[*cell.control]) {
            image.set(*cell.control, cell.disable_value == '1');
            said[*cell.control] = true;
        }
    }
    return image;
}

void add_cell(Pin& pin, const Device& device, size_t index) {
    const Cell& cell = device.cells[index];
    const bool better = !pin.observe || is_output(device.cells[*pin.observe]);
    if (only_watches(cell) && better) {
        pin.observe = index;
    } else if (cell.function == CellFunction::Bidir && !pin.observe) {
        pin.observe = index;
    }
    if (!is_output(cell) || pin.drive) {
        return;
    }
    pin.drive = index;
    pin.observes_itself = captures_its_pin(cell);
    pin.enable = cell.control;
    pin.enable_level = cell.disable_value != '1';
    pin.disabled = cell.disable_result;
}

std::vector<Pin> collect_pins(const Device& device) {
    std::map<size_t, Pin> pins; // by signal
    for (size_t i = 0; i < device.cells.size(); ++i) {
        const Cell& cell = device.cells[i];
        if (cell.signal && (only_watches(cell) || is_output(cell))) {
            Pin& pin = pins[*cell.signal];
            pin.signal = *cell.signal;
            add_cell(pin, device, i);
        }
    }
    std::vector<Pin> list;
    list.reserve(pins.size());
    for (auto& [signal, pin] : pins) {
        list.push_back(std::move(pin));
    }
    return list;
}

using SignalsOfCell = std::map<size_t, std::vector<size_t>>;

std::vector<size_t> others(const SignalsOfCell& groups, size_t cell, size_t signal) {
    std::vector<size_t> rest = groups.at(cell);
    std::erase(rest, signal);
    return rest;
}

void name_companions(const Device& device, std::vector<Pin>& pins) {
    SignalsOfCell enabled;
    SignalsOfCell driven;
    for (const Pin& pin : pins) {
        if (pin.drive) {
            driven[device.cells[*pin.drive].number].push_back(pin.signal);
        }
        if (pin.enable) {
            enabled[*pin.enable].push_back(pin.signal);
        }
    }
    for (Pin& pin : pins) {
        if (pin.drive) {
            pin.driven_with = others(driven, device.cells[*pin.drive].number, pin.signal);
        }
        if (pin.enable) {
            pin.enabled_with = others(enabled, *pin.enable, pin.signal);
        }
    }
}

} // namespace

Result<Plan> Plan::make(std::shared_ptr<const Device> device) {
    TRY(check_cells(*device));
    Plan plan(std::move(device));
    plan.safe_ = safe_image(*plan.device_);
    plan.pins_ = collect_pins(*plan.device_);
    name_companions(*plan.device_, plan.pins_);
    plan.pin_of_signal_.assign(plan.device_->signals.size(), SIZE_MAX);
    for (size_t i = 0; i < plan.pins_.size(); ++i) {
        plan.pin_of_signal_[plan.pins_[i].signal] = i;
    }
    return plan;
}

const Pin* Plan::find(size_t signal) const noexcept {
    const bool there = signal < pin_of_signal_.size() && pin_of_signal_[signal] != SIZE_MAX;
    return there ? &pins_[pin_of_signal_[signal]] : nullptr;
}

std::vector<size_t> Plan::always_driving() const {
    std::vector<size_t> signals;
    for (const Pin& pin : pins_) {
        if (pin.drive && (!pin.enable || safe_[*pin.enable] == pin.enable_level)) {
            signals.push_back(pin.signal);
        }
    }
    return signals;
}

} // namespace talvor::boundary
