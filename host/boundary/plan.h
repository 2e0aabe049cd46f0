// What the boundary register of one device can do for each of its pins, made of its description.
#pragma once

#include "common/bsdl/model.h"
#include "common/result.h"
#include "host/jtag/bits.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace talvor::boundary {

// One signal that the boundary register reaches. Cells are indices into Device::cells, signals into
// Device::signals; the number of a cell is its bit in an image, bit 0 nearest TDO.
struct Pin {
    size_t signal = 0;
    // The cell that tells the level of the pin itself: an input's, an observe_only one, a
    // bidirectional one. Nothing: only an output's cell is there, see observes_itself.
    std::optional<size_t> observe;
    std::optional<size_t> drive; // the cell of its output: output2, output3, bidir
    // Whether EXTEST captures the pin itself in the cell `drive` (cells like BC_8, BC_9, BC_10).
    bool observes_itself = false;
    // The number of the cell that enables the output; nothing: it always drives. It is the number
    // of the cell `drive` itself where that pulls to one level and lets go at the other (an open
    // collector).
    std::optional<size_t> enable;
    bool enable_level = false; // what that cell holds to enable the output
    bsdl::DisableResult disabled = bsdl::DisableResult::Z;
    std::vector<size_t> enabled_with; // other signals whose outputs the same cell enables
    std::vector<size_t> driven_with;  // other signals whose outputs the cell `drive` drives, too
};

// A device's pins and the image of safe values. An image is as long as the boundary register.
class Plan {
public:
    // Errors (ErrorKind::BadFile): the description has no boundary register, or cells or control
    // cells that the register does not have, or instructions that are not as wide as the
    // instruction register.
    [[nodiscard]] static Result<Plan> make(std::shared_ptr<const bsdl::Device> device);

    [[nodiscard]] const bsdl::Device& device() const noexcept { return *device_; }
    [[nodiscard]] size_t bits() const noexcept { return safe_.size(); }
    // Every signal with a cell, in the order of Device::signals.
    [[nodiscard]] const std::vector<Pin>& pins() const noexcept { return pins_; }
    // Null: no cell reaches this signal.
    [[nodiscard]] const Pin* find(size_t signal) const noexcept;
    // What each cell holds while nobody wants anything else: its safe value; where the file says X,
    // a control cell disables its outputs, and every other cell holds 0.
    [[nodiscard]] const Bits& safe() const noexcept { return safe_; }
    // Outputs that drive in the image of safe values, since nothing disables them: indices into
    // Device::signals.
    [[nodiscard]] std::vector<size_t> always_driving() const;

    [[nodiscard]] const std::string& name_of(size_t signal) const {
        return device_->signals[signal].name;
    }

private:
    explicit Plan(std::shared_ptr<const bsdl::Device> device) : device_(std::move(device)) {}

    std::shared_ptr<const bsdl::Device> device_;
    std::vector<Pin> pins_;
    std::vector<size_t> pin_of_signal_; // SIZE_MAX: none
    Bits safe_;
};

} // namespace talvor::boundary
