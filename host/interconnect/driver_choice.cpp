#include "host/interconnect/driver_choice.h"

#include <fmt/format.h>

#include <algorithm>
#include <tuple>

namespace talvor::interconnect {
namespace {

constexpr size_t kNobody = SIZE_MAX;

} // namespace

DriverChoice::DriverChoice(std::span<const PlacedNet> nets, std::span<const boundary::Member> chain)
    : nets_(nets), chain_(chain), outputs_of_(nets.size()), drivers_(nets.size(), kNobody),
      reasons_(nets.size()) {
    for (size_t net = 0; net < nets.size(); ++net) {
        for (size_t pin = 0; pin < nets[net].pins.size(); ++pin) {
            add_output(net, pin, *chain[nets[net].pins[pin].device].plan);
        }
    }
}

void DriverChoice::add_output(size_t net, size_t pin, const boundary::Plan& plan) {
    const DevicePin& place = nets_[net].pins[pin];
    const boundary::Pin* cells = plan.find(place.signal);
    if (cells == nullptr || !cells->drive) {
        return;
    }
    const size_t data = plan.device().cells[*cells->drive].number;
    NetOutput output{net, pin, cells, {place.device, data}, std::nullopt, cells->enable == data};
    if (cells->enable && !output.open_collector) {
        const auto [entry, fresh] =
            control_of_.emplace(std::pair(place.device, *cells->enable), controls_.size());
        if (fresh) {
            controls_.push_back({place.device, *cells->enable, cells->enable_level, {}, {}});
        }
        output.control = entry->second;
        controls_[entry->second].outputs.push_back(outputs_.size());
    }
    outputs_of_[net].push_back(outputs_.size());
    outputs_.push_back(output);
}

const DevicePin& DriverChoice::pin_of(size_t output) const {
    return nets_[outputs_[output].net].pins[outputs_[output].pin];
}

Status DriverChoice::refuse_contention() const {
    for (size_t net = 0; net < nets_.size(); ++net) {
        size_t first = kNobody;
        for (const size_t output : outputs_of_[net]) {
            if (!outputs_[output].always_on()) {
                continue;
            }
            if (first != kNobody) {
                return refused_error(
                    "net " + nets_[net].name,
                    fmt::format("{} and {} both drive it, and nothing disables either",
                                pin_of(first).name, pin_of(output).name),
                    "in EXTEST they could drive against each other: check the netlist, or leave "
                    "one of the devices out of the test");
            }
            first = output;
        }
    }
    return {};
}

std::vector<size_t> DriverChoice::candidates(size_t net) const {
    std::vector<size_t> list = outputs_of_[net];
    const auto rank = [this](size_t index) {
        const NetOutput& output = outputs_[index];
        return std::tuple(!output.always_on(), output.open_collector,
                          output.cells->observe == output.cells->drive,
                          !output.cells->enabled_with.empty());
    };
    std::stable_sort(list.begin(), list.end(),
                     [&rank](size_t a, size_t b) { return rank(a) < rank(b); });
    return list;
}

void DriverChoice::choose(const std::vector<size_t>& nets) {
    // What nothing disables drives, whether its net is tested or not.
    for (size_t output = 0; output < outputs_.size(); ++output) {
        if (outputs_[output].always_on()) {
            (void)try_driver(output);
        }
    }
    std::vector<size_t> order = nets;
    std::stable_sort(order.begin(), order.end(), [this](size_t a, size_t b) {
        return outputs_of_[a].size() < outputs_of_[b].size();
    });
    for (const size_t net : order) {
        choose_for(net);
    }
}

bool DriverChoice::is_seen(size_t output) const {
    const std::vector<DevicePin>& pins = nets_[outputs_[output].net].pins;
    for (size_t pin = 0; pin < pins.size(); ++pin) {
        const boundary::Pin* cells = chain_[pins[pin].device].plan->find(pins[pin].signal);
        if (pin != outputs_[output].pin && cells != nullptr &&
            (cells->observe || cells->observes_itself)) {
            return true;
        }
    }
    return false;
}

void DriverChoice::choose_for(size_t net) {
    if (drivers_[net] != kNobody) {
        return;
    }
    reasons_[net] = "none of its pins has an output";
    for (const size_t output : candidates(net)) {
        if (!is_seen(output)) {
            reasons_[net] = fmt::format("no other pin sees what {} drives", pin_of(output).name);
            continue;
        }
        const std::optional<std::string> reason = try_driver(output);
        if (!reason) {
            return;
        }
        reasons_[net] = fmt::format("{} cannot drive it: {}", pin_of(output).name, *reason);
    }
}

std::optional<std::string> DriverChoice::try_driver(size_t output) {
    changed_states_.clear();
    changed_drivers_.clear();
    std::vector<size_t> enabled{output};
    if (const std::optional<size_t> control = outputs_[output].control) {
        if (controls_[*control].state == NetControl::State::Disabled) {
            return "the cell that enables it has to disable another output";
        }
        set_state(*control, NetControl::State::Enabled);
        enabled = controls_[*control].outputs;
    }
    for (const size_t one : enabled) {
        if (std::optional<std::string> reason = claim(one, output)) {
            undo();
            return reason;
        }
    }
    return std::nullopt;
}

std::optional<std::string> DriverChoice::claim(size_t output, size_t wanted) {
    const size_t net = outputs_[output].net;
    const PlacedNet& of = nets_[net];
    const std::string whom =
        output == wanted ? ""
                         : fmt::format("it is enabled together with {}, and ", pin_of(output).name);
    if (drivers_[net] == output) {
        return std::nullopt;
    }
    if (drivers_[net] != kNobody) {
        return fmt::format("{}{} drives the net {}", whom, pin_of(drivers_[net]).name, of.name);
    }
    if (output != wanted && !of.others.empty()) {
        return fmt::format("{}{} may drive the net {}", whom, of.others.front(), of.name);
    }
    if (const auto user = data_users_.find(outputs_[output].data);
        user != data_users_.end() && user->second != net) {
        return fmt::format("{}its cell drives the net {} too", whom, nets_[user->second].name);
    }
    set_driver(net, output);
    return disable_others(output);
}

std::optional<std::string> DriverChoice::disable_others(size_t output) {
    for (const size_t other : outputs_of_[outputs_[output].net]) {
        const NetOutput& rival = outputs_[other];
        if (other == output || rival.open_collector) {
            continue; // an open collector lets go
        }
        if (!rival.control) {
            return fmt::format("{} always drives that net", pin_of(other).name);
        }
        if (controls_[*rival.control].state == NetControl::State::Enabled) {
            return fmt::format("{} and {} are enabled together and would drive against each other",
                               pin_of(output).name, pin_of(other).name);
        }
        set_state(*rival.control, NetControl::State::Disabled);
    }
    return std::nullopt;
}

void DriverChoice::set_state(size_t control, NetControl::State state) {
    changed_states_.emplace_back(control, controls_[control].state);
    controls_[control].state = state;
}

void DriverChoice::set_driver(size_t net, size_t output) {
    changed_drivers_.push_back(net);
    drivers_[net] = output;
    data_users_.emplace(outputs_[output].data, net);
}

void DriverChoice::undo() {
    for (auto change = changed_states_.rbegin(); change != changed_states_.rend(); ++change) {
        controls_[change->first].state = change->second;
    }
    for (const size_t net : changed_drivers_) {
        data_users_.erase(outputs_[drivers_[net]].data);
        drivers_[net] = kNobody;
    }
}

const NetOutput* DriverChoice::driver(size_t net) const {
    return drivers_[net] == kNobody ? nullptr : &outputs_[drivers_[net]];
}

} // namespace talvor::interconnect
