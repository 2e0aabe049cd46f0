#include "podsim/station/board_operator.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <optional>
#include <string_view>
#include <vector>

namespace talvor::podsim {
namespace {

std::string_view name_of(Strength strength) {
    switch (strength) {
    case Strength::None:
        break;
    case Strength::Keep:
        return "keeper";
    case Strength::Weak:
        return "weak";
    case Strength::Pull:
        return "pull";
    case Strength::Strong:
        return "strong";
    case Strength::Rail:
        return "stuck";
    }
    return "floating";
}

std::string json_of(const Chain& chain) {
    nlohmann::ordered_json nets = nlohmann::ordered_json::array();
    for (size_t i = 0; i < chain.board().nets(); ++i) {
        const NetState net = chain.board().net_state(i);
        nets.push_back({{"name", net.name},
                        {"level", net.level ? 1 : 0},
                        {"driven", name_of(net.drive.strength)},
                        {"contention", net.contention},
                        {"pins", net.pins}});
    }
    nlohmann::ordered_json faults = nlohmann::ordered_json::array();
    for (const BoardFault& fault : chain.faults()) {
        faults.push_back(text_of(fault));
    }
    return nlohmann::ordered_json{{"nets", nets}, {"faults", faults}}.dump(
        -1, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
}

// "0x" and the digits of all the bits.
std::string hexadecimal(const std::vector<uint64_t>& value, uint64_t bits) {
    std::string digits;
    for (const uint64_t word : value) {
        digits.insert(0, fmt::format("{:016x}", word));
    }
    return "0x" + digits.substr(digits.size() - static_cast<size_t>((bits + 3) / 4));
}

nlohmann::ordered_json registers_of(const Chain& chain, const TapDevice& device) {
    nlohmann::ordered_json registers = nlohmann::ordered_json::object();
    for (const TapDevice::NamedRegister& one : device.named()) {
        registers[one.name] = {
            {"bits", one.cells->bits()},
            {"value", hexadecimal(chain.register_value(*one.cells), one.cells->bits())}};
    }
    return registers;
}

std::string registers_json(const Chain& chain) {
    nlohmann::ordered_json devices = nlohmann::ordered_json::array();
    for (size_t i = 0; i < chain.size(); ++i) {
        const TapDevice& device = chain.device(i);
        devices.push_back(
            {{"name", device.name()},
             {"instruction", hexadecimal({device.instruction()}, device.instruction_bits())},
             {"registers", registers_of(chain, device)}});
    }
    return nlohmann::ordered_json{{"devices", devices}}.dump(
        -1, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
}

Result<std::string> level_at(const Board& board, const std::string& place) {
    if (const auto net = board.find_net(place)) {
        return board.net_state(*net).level ? "1" : "0";
    }
    if (const auto pin = board.find_pin(place)) {
        const Board::PinCells at = board.cells_of(*pin);
        return at.cells->level(at.pin) ? "1" : "0";
    }
    return refused_error({}, fmt::format("this board has no net and no pin '{}'", place));
}

Status change(Chain& chain, const control::Command& command) {
    switch (command.verb) {
    case control::Verb::Fault:
        return chain.add_fault(command.board_fault);
    case control::Verb::Mend:
        return chain.mend_fault(command.board_fault);
    case control::Verb::Core:
        return chain.set_core(command.place, command.core);
    case control::Verb::Drive:
        return chain.set_drive(command.place, command.core == Core::Off
                                                  ? std::nullopt
                                                  : std::optional(command.core == Core::High));
    case control::Verb::Register:
        return chain.set_register(command.place, command.name, command.value);
    default:
        chain.mend_all();
        return {};
    }
}

} // namespace

Result<std::string> operate(Chain& chain, const control::Command& command) {
    if (command.verb == control::Verb::Board) {
        return json_of(chain);
    }
    if (command.verb == control::Verb::Registers) {
        return registers_json(chain);
    }
    if (command.verb == control::Verb::Level) {
        return level_at(chain.board(), command.place);
    }
    TRY(change(chain, command));
    return "ok";
}

} // namespace talvor::podsim
