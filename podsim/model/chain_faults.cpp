// What an operator does to the board behind a chain.
#include "common/wide_value.h"
#include "podsim/model/chain.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace talvor::podsim {
namespace {

bool is_same(const FaultPlace& a, const FaultPlace& b) {
    return a.fault.kind == b.fault.kind && a.at_pin == b.at_pin && a.where == b.where;
}

} // namespace

Result<size_t> Chain::find_device(const std::string& name) const {
    const auto found =
        std::ranges::find_if(devices_, [&](const auto& device) { return device->name() == name; });
    if (found == devices_.end()) {
        return refused_error({}, fmt::format("this chain has no device '{}'", name));
    }
    return static_cast<size_t>(found - devices_.begin());
}

// Nets and pins as far as the kind has them, with their numbers.
Result<FaultPlace> Chain::locate(const BoardFault& fault) const {
    using Kind = BoardFault::Kind;
    FaultPlace place{.fault = fault, .where = {}};
    for (const std::string& name : fault.places) {
        if (fault.kind == Kind::Dead || fault.kind == Kind::Swapped) {
            place.where.push_back(TRY(find_device(name)));
        } else if (const auto net = board_.find_net(name)) {
            place.where.push_back(*net);
        } else if (fault.kind == Kind::Short) {
            return refused_error({}, fmt::format("this board has no net '{}'", name));
        } else if (const auto pin = board_.find_pin(name)) {
            place.at_pin = true;
            place.where.push_back(*pin);
        } else {
            return refused_error({}, fmt::format("this board has no net and no pin '{}'", name));
        }
    }
    std::vector<size_t> sorted = place.where;
    std::ranges::sort(sorted);
    if (std::ranges::adjacent_find(sorted) != sorted.end()) {
        return refused_error({}, fmt::format("{} names the same twice", text_of(fault)));
    }
    return place;
}

Status Chain::add_fault(const BoardFault& fault) {
    FaultPlace place = TRY(locate(fault));
    const auto same =
        std::ranges::find_if(faults_, [&](const FaultPlace& one) { return is_same(one, place); });
    if (same != faults_.end()) {
        *same = std::move(place);
    } else {
        faults_.push_back(std::move(place));
    }
    faults_changed();
    return {};
}

Status Chain::mend_fault(const BoardFault& fault) {
    const FaultPlace place = TRY(locate(fault));
    const auto removed =
        std::erase_if(faults_, [&](const FaultPlace& one) { return is_same(one, place); });
    if (removed == 0) {
        return refused_error({}, fmt::format("there is no such fault as '{}'", text_of(fault)));
    }
    faults_changed();
    return {};
}

void Chain::mend_all() {
    faults_.clear();
    faults_changed();
}

std::vector<BoardFault> Chain::faults() const {
    std::vector<BoardFault> faults;
    for (const FaultPlace& each : faults_) {
        faults.push_back(each.fault);
    }
    return faults;
}

// Everything anew from the list, so that what is mended leaves no trace.
void Chain::faults_changed() {
    const std::vector<Slot> before = std::exchange(wanted_, {});
    for (size_t device = 0; device < devices_.size(); ++device) {
        wanted_.push_back({.device = device, .dead = {}});
    }
    for (const FaultPlace& each : faults_) {
        if (each.fault.kind == BoardFault::Kind::Dead) {
            wanted_[each.where[0]].dead = each.fault.level;
        }
    }
    for (Slot& slot : wanted_) {
        TapDevice& device = *devices_[slot.device];
        const bool was_dead = std::ranges::any_of(before, [&](const Slot& one) {
            return one.device == slot.device && one.dead.has_value();
        });
        if (was_dead && !slot.dead) {
            device.power_on();
        }
        if (device.boundary() != nullptr) {
            device.boundary()->set_dead(slot.dead.has_value());
        }
    }
    for (const FaultPlace& each : faults_) {
        if (each.fault.kind == BoardFault::Kind::Swapped) {
            const auto at = [&](size_t device) {
                return std::ranges::find(wanted_, device, &Slot::device);
            };
            std::iter_swap(at(each.where[0]), at(each.where[1]));
        }
    }
    board_.set_faults(faults_);
    board_.settle();
}

Status Chain::set_core(const std::string& pin, Core core) {
    const auto found = board_.find_pin(pin);
    if (!found) {
        return refused_error({}, fmt::format("this board has no pin '{}'", pin));
    }
    const Board::PinCells place = board_.cells_of(*found);
    TRY(check_core(place.cells->device(), place.pin, core));
    place.cells->set_core(place.pin, core);
    board_.settle();
    return {};
}

Status Chain::set_register(const std::string& device, const std::string& name,
                           std::vector<uint64_t> value) {
    const size_t index = TRY(find_device(device));
    const auto& named = devices_[index]->named();
    const auto found = std::ranges::find(named, name, &TapDevice::NamedRegister::name);
    if (found == named.end()) {
        return refused_error({}, fmt::format("{} has no register '{}'", device, name));
    }
    const uint64_t bits = found->cells->bits();
    if (!fits_bits(value, bits)) {
        return refused_error({}, fmt::format("the value does not fit into the {} bits of {} of {}",
                                             bits, name, device));
    }
    value.resize(words_for(bits));
    if (!found->cells->set_value(value)) {
        return refused_error(
            {}, fmt::format("{} of {} is none that could be given a value", name, device));
    }
    return {};
}

std::vector<uint64_t> Chain::register_value(DataRegister& cells) const {
    std::vector<uint64_t> value(words_for(cells.bits()));
    cells.capture(value);
    if (const auto tail = static_cast<unsigned>(cells.bits() % kWordBits); tail != 0) {
        value.back() &= low_mask(tail);
    }
    return value;
}

Status Chain::set_drive(const std::string& net, std::optional<bool> level) {
    const auto found = board_.find_net(net);
    if (!found) {
        return refused_error({}, fmt::format("this board has no net '{}'", net));
    }
    board_.set_drive(*found, level);
    board_.settle();
    return {};
}

} // namespace talvor::podsim
