// Descriptions of devices, pin by pin.
#pragma once

#include "common/bsdl/model.h"
#include "host/boundary/access.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>

namespace talvor::interconnect {

// Pins are numbered in the order in which they come, from 1; so are cells, from 0.
class MadeDevice {
public:
    explicit MadeDevice(std::string name) { device_.name = std::move(name); }

    MadeDevice& input(const std::string& name) {
        cell(add(name, bsdl::PortMode::In), bsdl::CellFunction::Input);
        return *this;
    }
    MadeDevice& output2(const std::string& name) {
        cell(add(name, bsdl::PortMode::Out), bsdl::CellFunction::Output2);
        return *this;
    }
    // It pulls down and lets go.
    MadeDevice& open_collector(const std::string& name) {
        bsdl::Cell& made = cell(add(name, bsdl::PortMode::Buffer), bsdl::CellFunction::Output2);
        made.control = made.number;
        made.disable_value = '1';
        made.disable_result = bsdl::DisableResult::Pull1;
        made.safe = '1';
        return *this;
    }
    // The cell that enables what comes behind it.
    MadeDevice& control(char disable_value = '0') {
        disable_value_ = disable_value;
        control_ = device_.cells.size();
        bsdl::Cell& made = cell(std::nullopt, bsdl::CellFunction::Control);
        made.safe = disable_value;
        return *this;
    }
    MadeDevice& output3(const std::string& name) {
        controlled(cell(add(name, bsdl::PortMode::Out), bsdl::CellFunction::Output3));
        return *this;
    }
    MadeDevice& bidir(const std::string& name, const std::string& type = "BC_2") {
        bsdl::Cell& made = cell(add(name, bsdl::PortMode::InOut), bsdl::CellFunction::Bidir);
        made.type = type;
        controlled(made);
        return *this;
    }
    // An output and an input cell on one pin.
    MadeDevice& output_and_input(const std::string& name) {
        const size_t signal = add(name, bsdl::PortMode::InOut);
        controlled(cell(signal, bsdl::CellFunction::Output3));
        cell(signal, bsdl::CellFunction::Input);
        return *this;
    }
    MadeDevice& without_cell(const std::string& name, bsdl::PortMode mode) {
        add(name, mode);
        return *this;
    }
    MadeDevice& tap() {
        device_.tap.tck = add("TCK", bsdl::PortMode::In);
        device_.tap.tdo = add("TDO", bsdl::PortMode::Out);
        return *this;
    }
    MadeDevice& compliance(const std::string& name) {
        input(name);
        device_.compliance.signals = {device_.signals.size() - 1};
        device_.compliance.patterns = {{"1"}};
        return *this;
    }

    // A member of a chain that is called like the device.
    [[nodiscard]] boundary::Member member() const {
        auto device = std::make_shared<bsdl::Device>(device_);
        device->boundary_bits = device->cells.size();
        auto plan = boundary::Plan::make(std::move(device));
        EXPECT_TRUE(plan);
        return {device_.name, 4, std::make_shared<const boundary::Plan>(*std::move(plan))};
    }

private:
    size_t add(const std::string& name, bsdl::PortMode mode) {
        bsdl::Signal signal;
        signal.name = name;
        signal.port = name;
        signal.mode = mode;
        signal.pin = fmt::format("{}", device_.signals.size() + 1);
        device_.signals.push_back(std::move(signal));
        return device_.signals.size() - 1;
    }
    bsdl::Cell& cell(std::optional<size_t> signal, bsdl::CellFunction function) {
        bsdl::Cell made;
        made.number = device_.cells.size();
        made.type = "BC_1";
        made.signal = signal;
        made.function = function;
        device_.cells.push_back(made);
        return device_.cells.back();
    }
    void controlled(bsdl::Cell& made) const {
        made.control = control_;
        made.disable_value = disable_value_;
    }

    bsdl::Device device_;
    size_t control_ = 0;
    char disable_value_ = '0';
};

} // namespace talvor::interconnect
