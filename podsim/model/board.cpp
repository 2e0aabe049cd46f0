#include "podsim/model/board.h"

#include "podsim/model/chain_description.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <utility>

namespace talvor::podsim {
namespace {

bool are_opposed(const Drive& a, const Drive& b) {
    return a.strength == Strength::Strong && b.strength == Strength::Strong && a.level != b.level;
}

} // namespace

Board::Board(const ChainDescription& chain, std::vector<BoundaryCells*> cells)
    : cells_(std::move(cells)), floating_(chain.board.floating) {
    for (size_t device = 0; device < cells_.size(); ++device) {
        device_names_.push_back(chain.devices[device].name);
        first_pin_.push_back(pins_.size());
        const size_t count = cells_[device] != nullptr ? cells_[device]->pins() : 0;
        for (size_t number = 0; number < count; ++number) {
            pins_.push_back({.device = device, .number = number, .stuck = {}});
        }
    }
    for (BoardNet& each : nets_of(chain)) {
        Net net{.description = std::move(each), .pins = {}, .stuck = {}, .drive = {}};
        for (const PinPlace& place : net.description.pins) {
            const size_t pin = first_pin_[place.device] + place.pin;
            pins_[pin].net = nets_.size();
            net.pins.push_back(pin);
        }
        nets_.push_back(std::move(net));
    }
}

// ---- levels -----------------------------------------------------------------------------------

void Board::settle() {
    for (BoundaryCells* cells : cells_) {
        stale_ = (cells != nullptr && cells->refresh()) || stale_;
    }
    if (stale_) {
        stale_ = false;
        resolve();
    }
}

void Board::resolve() {
    for (Net& net : nets_) {
        resolve_net(net);
    }
    for (const Group& group : groups_) {
        resolve_group(group);
    }
    for (const Pin& pin : pins_) {
        tell_pin(pin);
    }
    for (BoundaryCells* cells : cells_) {
        if (cells != nullptr) {
            cells->look();
        }
    }
}

// What a pin brings to its net.
Drive Board::drive_at(const Pin& pin) const {
    Drive drive = cells_[pin.device]->drive(pin.number);
    if (drive.strength == Strength::Keep) {
        drive.level = cells_[pin.device]->level(pin.number);
    } else if (drive.strength == Strength::Strong) {
        drive.level = pin.stuck.value_or(drive.level);
    }
    return drive;
}

bool Board::rest_of(const Net& net) const {
    return net.description.floating.value_or(floating_);
}

// All that drives a net by itself, in one.
Board::Sum Board::sum_of(const Net& net) const {
    Sum sum;
    const auto join = [&](const Drive& drive) {
        sum.opposed = sum.opposed || are_opposed(sum.drive, drive);
        sum.tested = sum.tested || drive.by_cell;
        sum.drive = joined(sum.drive, drive);
    };
    if (net.description.drive) {
        join({.strength = Strength::Strong, .level = *net.description.drive});
    }
    if (net.description.pull) {
        join({.strength = Strength::Pull, .level = *net.description.pull});
    }
    for (const size_t pin : net.pins) {
        if (!pins_[pin].open && !net.open) {
            join(drive_at(pins_[pin]));
        }
    }
    return sum;
}

void Board::resolve_net(Net& net) {
    const Sum sum = sum_of(net);
    net.contention = sum.opposed;
    const bool told = std::exchange(net.told, sum.opposed && sum.tested);
    if (net.told && !told) {
        note_contention(net);
    }
    net.drive = net.stuck ? Drive{.strength = Strength::Rail, .level = *net.stuck} : sum.drive;
    net.level = net.drive.strength == Strength::None ? rest_of(net) : net.drive.level;
}

void Board::resolve_group(const Group& group) {
    Strength strongest = Strength::None;
    for (const size_t net : group.nets) {
        strongest = std::max(strongest, nets_[net].drive.strength);
    }
    bool all = true;
    bool any = false;
    std::optional<bool> first;
    for (const size_t net : group.nets) {
        if (nets_[net].drive.strength == strongest) {
            all = all && nets_[net].level;
            any = any || nets_[net].level;
            first = first.value_or(nets_[net].level);
        }
    }
    const bool level = group.model == BoardFault::Model::WiredAnd  ? all
                       : group.model == BoardFault::Model::WiredOr ? any
                                                                   : first.value_or(all);
    for (const size_t net : group.nets) {
        nets_[net].level = level;
    }
}

void Board::tell_pin(const Pin& pin) {
    BoundaryCells& cells = *cells_[pin.device];
    const Net* net = pin.net != kNone ? &nets_[pin.net] : nullptr;
    bool level = false;
    if (pin.stuck) {
        level = *pin.stuck;
    } else if (net != nullptr && !pin.open && !net->open) {
        level = net->level;
    } else if (const Drive own = drive_at(pin); own.strength != Strength::None) {
        level = own.level;
    } else if (net != nullptr || pin.open) {
        level = net != nullptr ? rest_of(*net) : floating_;
    } else {
        level = cells.unconnected(pin.number).value_or(floating_);
    }
    cells.set_level(pin.number, level);
}

// ---- findings ---------------------------------------------------------------------------------

void Board::note_contention(const Net& net) {
    if (!finding_.empty()) {
        ++more_findings_;
        return;
    }
    std::array<std::string, 2> at;
    at[net.description.drive.value_or(false) ? 1 : 0] =
        net.description.drive ? "the board" : std::string();
    for (const size_t pin : net.pins) {
        const Drive drive = drive_at(pins_[pin]);
        std::string& text = at[drive.level ? 1 : 0];
        if (drive.strength == Strength::Strong && !pins_[pin].open && text.empty()) {
            text = name_of(pins_[pin]);
        }
    }
    finding_ =
        fmt::format("net {}: {} drives 1 against {}, which drives 0", name_of(net), at[1], at[0]);
}

std::string Board::take_finding() {
    std::string text = std::exchange(finding_, {});
    const size_t more = std::exchange(more_findings_, 0);
    return more == 0 ? text : fmt::format("{}; {} more nets likewise", text, more);
}

std::string Board::name_of(const Pin& pin) const {
    return fmt::format("{}.{}", device_names_[pin.device],
                       cells_[pin.device]->device().signals[pin.number].name);
}

std::string Board::name_of(const Net& net) const {
    if (!net.description.name.empty() || net.pins.empty()) {
        return net.description.name;
    }
    return name_of(pins_[net.pins.front()]);
}

NetState Board::net_state(size_t number) const {
    const Net& net = nets_[number];
    NetState state{.name = name_of(net),
                   .pins = {},
                   .drive = net.drive,
                   .level = net.level,
                   .contention = net.contention};
    for (const size_t pin : net.pins) {
        state.pins.push_back(name_of(pins_[pin]));
    }
    return state;
}

// ---- faults -----------------------------------------------------------------------------------

void Board::set_faults(const std::vector<FaultPlace>& faults) {
    for (Pin& pin : pins_) {
        pin.open = false;
        pin.stuck.reset();
    }
    for (Net& net : nets_) {
        net.open = false;
        net.stuck.reset();
        net.group = kNone;
    }
    groups_.clear();
    for (const FaultPlace& each : faults) {
        const BoardFault& fault = each.fault;
        if (fault.kind == BoardFault::Kind::Open) {
            (each.at_pin ? pins_[each.where[0]].open : nets_[each.where[0]].open) = true;
        } else if (fault.kind == BoardFault::Kind::Stuck) {
            (each.at_pin ? pins_[each.where[0]].stuck : nets_[each.where[0]].stuck) = fault.level;
        } else if (fault.kind == BoardFault::Kind::Short) {
            add_short(each);
        }
    }
    stale_ = true;
}

// Groups that a short joins become one, the earliest, which keeps its model.
void Board::add_short(const FaultPlace& fault) {
    size_t into = groups_.size();
    for (const size_t net : fault.where) {
        into = std::min(into, nets_[net].group); // kNone is the largest
    }
    if (into == groups_.size()) {
        groups_.push_back({.nets = {}, .model = fault.fault.model});
    }
    for (const size_t net : fault.where) {
        const size_t from = nets_[net].group;
        if (from == into) {
            continue;
        }
        const std::vector<size_t> moved =
            from == kNone ? std::vector{net} : std::exchange(groups_[from].nets, {});
        for (const size_t each : moved) {
            nets_[each].group = into;
            groups_[into].nets.push_back(each);
        }
    }
}

void Board::set_drive(size_t net, std::optional<bool> level) {
    nets_[net].description.drive = level;
    stale_ = true;
}

// ---- names ------------------------------------------------------------------------------------

std::optional<size_t> Board::find_net(const std::string& name) const {
    const auto net = std::ranges::find_if(
        nets_, [&](const Net& one) { return !name.empty() && one.description.name == name; });
    return net == nets_.end() ? std::nullopt
                              : std::optional(static_cast<size_t>(net - nets_.begin()));
}

std::optional<size_t> Board::find_pin(const std::string& name) const {
    for (size_t device = 0; device < cells_.size(); ++device) {
        const std::string prefix = device_names_[device] + ".";
        if (cells_[device] == nullptr || !name.starts_with(prefix)) {
            continue;
        }
        if (const auto pin = find_pin_of(cells_[device]->device(), name.substr(prefix.size()))) {
            return first_pin_[device] + *pin;
        }
    }
    return std::nullopt;
}

Board::PinCells Board::cells_of(size_t pin) const {
    return {cells_[pins_[pin].device], pins_[pin].number};
}

} // namespace talvor::podsim
