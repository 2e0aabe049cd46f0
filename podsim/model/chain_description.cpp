#include "podsim/model/chain_description.h"

#include <algorithm>
#include <utility>

namespace talvor::podsim {

uint64_t register_bits(const RegisterDescription& description) {
    struct Length {
        uint64_t operator()(const ConstantRegister& r) const { return r.bits; }
        uint64_t operator()(const ScratchRegister& r) const { return r.bits; }
        uint64_t operator()(const CounterRegister& r) const { return r.bits; }
        uint64_t operator()(const MemoryRegister& r) const {
            return uint64_t{kMemoryOperationBits} + r.data_bits + r.address_bits;
        }
        uint64_t operator()(const BoundaryRegister& r) const { return r.pins.size(); }
        uint64_t operator()(const RiscvDescription&) const {
            return kRiscvOperationBits + kRiscvDataBits + kRiscvAddressBits;
        }
    };
    return std::visit(Length{}, description.kind);
}

BoundaryDescription general_form(const BoundaryRegister& plain) {
    auto device = std::make_shared<bsdl::Device>();
    BoundaryDescription general;
    device->boundary_bits = plain.pins.size();
    for (const Pin& pin : plain.pins) {
        const size_t number = device->signals.size();
        device->signals.push_back({.name = pin.name,
                                   .port = pin.name,
                                   .index = {},
                                   .mode = pin.output ? bsdl::PortMode::Out : bsdl::PortMode::In,
                                   .pin = {},
                                   .place = {}});
        bsdl::Cell cell;
        cell.number = number;
        cell.type = "BC_2";
        cell.signal = number;
        cell.function = pin.output ? bsdl::CellFunction::Output2 : bsdl::CellFunction::Input;
        device->cells.push_back(std::move(cell));
        general.core.push_back(!pin.output ? Core::Off : pin.level ? Core::High : Core::Low);
        general.unconnected.emplace_back(pin.level);
    }
    general.device = std::move(device);
    return general;
}

std::optional<BoundaryDescription> boundary_of(const DeviceDescription& device) {
    if (device.boundary) {
        return device.boundary;
    }
    for (const RegisterDescription& each : device.registers) {
        if (const auto* plain = std::get_if<BoundaryRegister>(&each.kind)) {
            return general_form(*plain);
        }
    }
    return std::nullopt;
}

std::vector<BoardNet> nets_of(const ChainDescription& chain) {
    std::vector<BoardNet> nets;
    for (const NetDescription& wire : chain.nets) {
        const PinPlace from{wire.from_device, wire.from_pin};
        auto net = std::ranges::find_if(
            nets, [&](const BoardNet& one) { return one.pins.front() == from; });
        if (net == nets.end()) {
            nets.push_back({.name = {}, .pins = {from}, .pull = {}, .drive = {}, .floating = {}});
            net = std::prev(nets.end());
        }
        net->pins.push_back({wire.to_device, wire.to_pin});
    }
    nets.insert(nets.end(), chain.board.nets.begin(), chain.board.nets.end());
    return nets;
}

} // namespace talvor::podsim
