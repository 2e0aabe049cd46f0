#include "host/interconnect/test_plan.h"

#include "host/boundary/image.h"
#include "host/interconnect/driver_choice.h"

#include <fmt/format.h>

#include <algorithm>
#include <optional>
#include <set>
#include <utility>

namespace talvor::interconnect {
namespace {

using boundary::Member;

bool holds(const std::vector<size_t>& list, size_t one) {
    return std::find(list.begin(), list.end(), one) != list.end();
}

bool carries_tap(const bsdl::TapSignals& tap, size_t signal) {
    return tap.tck == signal || tap.tms == signal || tap.tdi == signal || tap.tdo == signal ||
           tap.trst == signal;
}

// Why a test must leave a pin's net alone; nothing: it need not.
std::optional<std::string> forbids(const DevicePin& pin, const boundary::Plan& plan) {
    const bsdl::Device& device = plan.device();
    if (carries_tap(device.tap, pin.signal)) {
        return fmt::format("{} belongs to the test access port", pin.name);
    }
    if (holds(device.compliance.signals, pin.signal)) {
        return fmt::format("{} has to stand at its compliance pattern", pin.name);
    }
    if (plan.find(pin.signal) != nullptr) {
        return std::nullopt;
    }
    switch (device.signals[pin.signal].mode) {
    case bsdl::PortMode::In:
        return std::nullopt; // it only hears
    case bsdl::PortMode::Out:
    case bsdl::PortMode::InOut:
    case bsdl::PortMode::Buffer:
        return fmt::format("{} may drive it and has no cell", pin.name);
    default:
        return fmt::format("{} is no digital pin", pin.name);
    }
}

std::optional<std::string> reason_against(const PlacedNet& net, std::span<const Member> chain) {
    if (!net.others.empty()) {
        return fmt::format("{} may drive it and is no pin of the chain", net.others.front());
    }
    for (const DevicePin& pin : net.pins) {
        if (std::optional<std::string> reason = forbids(pin, *chain[pin.device].plan)) {
            return reason;
        }
    }
    if (!net.unknown.empty()) {
        return fmt::format("the description of its device has no pin {}", net.unknown.front());
    }
    if (net.pins.size() < 2) {
        return net.pins.empty() ? std::string("no pin of the chain is on it")
                                : fmt::format("{} is its only pin of the chain", net.pins[0].name);
    }
    return std::nullopt;
}

class Planner {
public:
    Planner(std::span<const PlacedNet> nets, std::span<const Member> chain)
        : nets_(nets), chain_(chain), choice_(nets, chain) {}

    Result<TestPlan> plan() {
        TRY(choice_.refuse_contention());
        std::vector<size_t> testable;
        std::vector<std::optional<std::string>> reasons;
        for (size_t net = 0; net < nets_.size(); ++net) {
            reasons.push_back(reason_against(nets_[net], chain_));
            if (!reasons[net]) {
                testable.push_back(net);
            }
        }
        choice_.choose(testable);
        for (size_t net = 0; net < nets_.size(); ++net) {
            add(net, reasons[net]);
        }
        set_rest();
        list_others();
        return std::move(plan_);
    }

private:
    [[nodiscard]] size_t number_of(const DevicePin& pin, size_t cell) const {
        return chain_[pin.device].plan->device().cells[cell].number;
    }

    void leave_out(size_t net, std::string reason) {
        plan_.untested.push_back({nets_[net].name, std::move(reason)});
    }

    void add(size_t net, const std::optional<std::string>& reason) {
        if (reason) {
            return leave_out(net, *reason);
        }
        const NetOutput* output = choice_.driver(net);
        if (output == nullptr) {
            return leave_out(net, choice_.reason(net));
        }
        TestedNet tested;
        tested.name = nets_[net].name;
        tested.line = nets_[net].line;
        tested.driver = driver_of(*output);
        tested.receivers = receivers_of(net, *output);
        if (std::all_of(tested.receivers.begin(), tested.receivers.end(),
                        [](const Receiver& one) { return one.at_driver; })) {
            return leave_out(
                net, fmt::format("no other pin sees what {} drives", tested.driver.pin.name));
        }
        drivers_.insert({tested.driver.pin.device, tested.driver.pin.signal});
        plan_.nets.push_back(std::move(tested));
    }

    [[nodiscard]] Driver driver_of(const NetOutput& output) const {
        Driver driver;
        driver.pin = nets_[output.net].pins[output.pin];
        driver.cell = output.data.second;
        if (output.control) {
            driver.enable = choice_.controls()[*output.control].cell;
            driver.enable_level = choice_.controls()[*output.control].enable_level;
        }
        return driver;
    }

    [[nodiscard]] std::vector<Receiver> receivers_of(size_t net, const NetOutput& output) const {
        std::vector<Receiver> receivers;
        for (size_t p = 0; p < nets_[net].pins.size(); ++p) {
            const DevicePin& pin = nets_[net].pins[p];
            const boundary::Pin* cells = chain_[pin.device].plan->find(pin.signal);
            if (cells == nullptr) {
                continue;
            }
            const bool drives = p == output.pin;
            if (cells->observe && !(drives && cells->observe == cells->drive)) {
                receivers.push_back({pin, number_of(pin, *cells->observe), drives});
            } else if (cells->drive && cells->observes_itself) {
                receivers.push_back({pin, number_of(pin, *cells->drive), drives});
            }
        }
        return receivers;
    }

    void set_rest() {
        for (const Member& member : chain_) {
            plan_.rest.push_back(member.plan == nullptr ? Bits(1) : member.plan->safe());
        }
        for (const NetControl& control : choice_.controls()) {
            const bool enabled = control.state == NetControl::State::Enabled;
            plan_.rest[control.device].set(control.cell, enabled == control.enable_level);
        }
        for (const NetOutput& output : choice_.outputs()) {
            if (output.open_collector) {
                plan_.rest[output.data.first].set(output.data.second, !output.cells->enable_level);
            }
        }
    }

    void list_others() {
        for (size_t device = 0; device < chain_.size(); ++device) {
            if (chain_[device].plan == nullptr) {
                continue;
            }
            const boundary::Plan& plan = *chain_[device].plan;
            for (const boundary::Pin& pin : plan.pins()) {
                if (!drivers_.contains({device, pin.signal}) &&
                    driven_level(plan, pin, plan_.rest[device]) != boundary::Level::Z) {
                    plan_.also_driving.push_back(fmt::format("{}.{}",
                                                             chain_[device].name.empty()
                                                                 ? fmt::format("{}", device + 1)
                                                                 : chain_[device].name,
                                                             plan.name_of(pin.signal)));
                }
            }
        }
    }

    std::span<const PlacedNet> nets_;
    std::span<const Member> chain_;
    DriverChoice choice_;
    std::set<std::pair<size_t, size_t>> drivers_; // device and signal
    TestPlan plan_;
};

} // namespace

Result<TestPlan> plan_test(std::span<const PlacedNet> nets, std::span<const Member> chain) {
    return Planner(nets, chain).plan();
}

void put_vector(const TestPlan& plan, const Vector& vector, boundary::Images& images) {
    for (size_t net = 0; net < plan.nets.size(); ++net) {
        const Driver& driver = plan.nets[net].driver;
        images[driver.pin.device].set(driver.cell, vector.level(net));
    }
}

} // namespace talvor::interconnect
