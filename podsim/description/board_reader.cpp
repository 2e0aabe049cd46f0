#include "podsim/description/board_reader.h"

#include <algorithm>
#include <array>
#include <optional>
#include <string>
#include <string_view>

namespace talvor::podsim::description {
namespace {

constexpr const char* kPinExpected = "a pin of this chain, written \"tap.pin\"";

// The pins of a chain by their names.
class Pins {
public:
    explicit Pins(const ChainDescription& chain) {
        for (const DeviceDescription& device : chain.devices) {
            prefixes_.push_back(device.name + ".");
            boundaries_.push_back(boundary_of(device));
        }
    }

    [[nodiscard]] std::optional<PinPlace> find(const std::string& text) const {
        for (size_t device = 0; device < prefixes_.size(); ++device) {
            if (!boundaries_[device] || !text.starts_with(prefixes_[device])) {
                continue;
            }
            const std::string name = text.substr(prefixes_[device].size());
            if (const auto pin = find_pin_of(*boundaries_[device]->device, name)) {
                return PinPlace{device, *pin};
            }
        }
        return std::nullopt;
    }

private:
    std::vector<std::string> prefixes_;
    std::vector<std::optional<BoundaryDescription>> boundaries_;
};

std::string found(const std::string& text) {
    return ", found \"" + text + "\"";
}

std::optional<bool> read_level(const TomlReader& reader, std::string_view key) {
    return reader.has(key) ? std::optional(reader.integer(key, 0, 0, 1) != 0) : std::nullopt;
}

// ---- nets -------------------------------------------------------------------------------------

PinPlace read_pin(const TomlReader& reader, std::string_view key, const Pins& pins) {
    reader.require(key, "a pin, written \"tap.pin\"");
    const std::string text = reader.text(key, "");
    const auto place = pins.find(text);
    if (!place) {
        reader.error(key, std::string("expected ") + kPinExpected + found(text));
    }
    return place.value_or(PinPlace{0, 0});
}

NetDescription read_wire(const TomlReader& reader, const Pins& pins) {
    reader.only({"from", "to"});
    const PinPlace from = read_pin(reader, "from", pins);
    const PinPlace to = read_pin(reader, "to", pins);
    return {from.device, from.pin, to.device, to.pin};
}

std::optional<bool> read_pull(const TomlReader& reader) {
    const std::string pull = reader.text("pull", "");
    if (reader.has("pull") && pull != "up" && pull != "down") {
        reader.error("pull", "expected up or down" + found(pull));
    }
    return reader.has("pull") ? std::optional(pull == "up") : std::nullopt;
}

BoardNet read_net(const TomlReader& reader, const Pins& pins) {
    reader.only({"name", "pins", "pull", "drive", "floating"});
    reader.require("name", "a text");
    reader.require("pins", "the pins, each written \"tap.pin\"");
    BoardNet net{.name = reader.text("name", ""),
                 .pins = {},
                 .pull = read_pull(reader),
                 .drive = read_level(reader, "drive"),
                 .floating = read_level(reader, "floating")};
    for (const std::string& text : reader.texts("pins")) {
        const auto place = pins.find(text);
        if (!place) {
            reader.error("pins", std::string("expected pins of this chain, each written "
                                             "\"tap.pin\"") +
                                     found(text));
        }
        net.pins.push_back(place.value_or(PinPlace{0, 0}));
    }
    return net;
}

bool has_net(const ChainDescription& chain, const std::string& name) {
    return std::ranges::find(chain.board.nets, name, &BoardNet::name) != chain.board.nets.end();
}

// What commands find nets by.
void check_name(const TomlReader& reader, const BoardNet& net, const ChainDescription& chain,
                const Pins& pins) {
    if (net.name.empty() || net.name.find_first_of(" \t\r\n") != std::string::npos) {
        reader.error("name", "expected a name without blanks" + found(net.name));
    } else if (has_net(chain, net.name)) {
        reader.error("name", "expected a name of its own" + found(net.name) + " again");
    } else if (pins.find(net.name)) {
        reader.error("name", "expected a name that no pin has" + found(net.name));
    }
}

// Whether both ends are pins of plain registers, where a wire runs from an output to an input.
bool is_plain(const ChainDescription& chain, const NetDescription& wire) {
    const auto general = [&](size_t device) {
        return device < chain.devices.size() && chain.devices[device].boundary.has_value();
    };
    return !general(wire.from_device) && !general(wire.to_device);
}

BoardNet net_of(const NetDescription& wire) {
    return {.name = {},
            .pins = {{wire.from_device, wire.from_pin}, {wire.to_device, wire.to_pin}},
            .pull = {},
            .drive = {},
            .floating = {}};
}

NetTables read_nets(const TomlReader& pod, const Pins& pins, ChainDescription& chain) {
    NetTables tables;
    for (const TomlReader& reader : pod.tables("net")) {
        if (!reader.has("pins") && !reader.has("name")) {
            const NetDescription wire = read_wire(reader, pins);
            if (is_plain(chain, wire)) {
                chain.nets.push_back(wire);
                tables.wires.push_back(reader);
            } else {
                chain.board.nets.push_back(net_of(wire));
                tables.nets.push_back(reader);
            }
            continue;
        }
        BoardNet net = read_net(reader, pins);
        check_name(reader, net, chain, pins);
        chain.board.nets.push_back(std::move(net));
        tables.nets.push_back(reader);
    }
    return tables;
}

// ---- faults -----------------------------------------------------------------------------------

using Kind = BoardFault::Kind;
using Model = BoardFault::Model;

std::string read_net_name(const TomlReader& reader, std::string_view key, const std::string& name,
                          const ChainDescription& chain) {
    if (!has_net(chain, name)) {
        reader.error(key, "expected the name of a net" + found(name));
    }
    return name;
}

std::string read_device_name(const TomlReader& reader, std::string_view key,
                             const std::string& name, const ChainDescription& chain) {
    if (std::ranges::find(chain.devices, name, &DeviceDescription::name) == chain.devices.end()) {
        reader.error(key, "expected the name of a TAP" + found(name));
    }
    return name;
}

// A net or a pin, by the key that says which.
std::string read_place(const TomlReader& reader, const ChainDescription& chain, const Pins& pins) {
    if (reader.has("pin") && reader.has("net")) {
        reader.error("pin", "expected a net or a pin, not both");
    }
    if (!reader.has("pin")) {
        reader.require("net", "the net or the pin that is meant");
        return read_net_name(reader, "net", reader.text("net", ""), chain);
    }
    (void)read_pin(reader, "pin", pins);
    return reader.text("pin", "");
}

// The names at a key; two of them, where not more will do.
std::vector<std::string> read_names(const TomlReader& reader, std::string_view key, bool two) {
    std::vector<std::string> names = reader.texts(key);
    std::vector<std::string> sorted = names;
    std::ranges::sort(sorted);
    const bool twice = std::ranges::adjacent_find(sorted) != sorted.end();
    if (names.size() < 2 || (two && names.size() > 2) || twice) {
        reader.error(key, two ? "expected two different names"
                              : "expected two names or more, each "
                                "another");
    }
    return names;
}

Model read_model(const TomlReader& reader) {
    const std::string model = reader.text("model", "wired-and");
    for (const Model each : {Model::WiredAnd, Model::WiredOr, Model::Strong}) {
        if (model == name_of(each)) {
            return each;
        }
    }
    reader.error("model", "expected wired-and, wired-or or strong" + found(model));
    return Model::WiredAnd;
}

// The keys of each kind, beside `kind`.
BoardFault read_fault_of(Kind kind, const TomlReader& reader, const ChainDescription& chain,
                         const Pins& pins) {
    BoardFault fault{.kind = kind, .places = {}};
    switch (kind) {
    case Kind::Open:
        reader.only({"kind", "net", "pin"});
        fault.places = {read_place(reader, chain, pins)};
        break;
    case Kind::Stuck:
        reader.only({"kind", "net", "pin", "level"});
        reader.require("level", "0 or 1");
        fault.places = {read_place(reader, chain, pins)};
        fault.level = read_level(reader, "level").value_or(false);
        break;
    case Kind::Short:
        reader.only({"kind", "nets", "model"});
        for (const std::string& name : read_names(reader, "nets", false)) {
            fault.places.push_back(read_net_name(reader, "nets", name, chain));
        }
        fault.model = read_model(reader);
        break;
    case Kind::Dead:
        reader.only({"kind", "device", "level"});
        reader.require("device", "the TAP that is dead");
        fault.places = {read_device_name(reader, "device", reader.text("device", ""), chain)};
        fault.level = read_level(reader, "level").value_or(true);
        break;
    case Kind::Swapped:
        reader.only({"kind", "devices"});
        for (const std::string& name : read_names(reader, "devices", true)) {
            fault.places.push_back(read_device_name(reader, "devices", name, chain));
        }
        break;
    }
    return fault;
}

BoardFault read_fault(const TomlReader& reader, const ChainDescription& chain, const Pins& pins) {
    const std::string expected = "open, short, stuck, dead or swapped";
    reader.require("kind", expected);
    const std::string kind = reader.text("kind", "open");
    for (const Kind each : {Kind::Open, Kind::Short, Kind::Stuck, Kind::Dead, Kind::Swapped}) {
        if (kind == name_of(each)) {
            return read_fault_of(each, reader, chain, pins);
        }
    }
    reader.error("kind", "expected " + expected + found(kind));
    return {};
}

} // namespace

NetTables read_board(const TomlReader& pod, ChainDescription& chain) {
    const Pins pins(chain);
    chain.board.floating = read_level(pod, "floating").value_or(chain.board.floating);
    NetTables tables = read_nets(pod, pins, chain);
    for (const TomlReader& reader : pod.tables("fault")) {
        chain.board.faults.push_back(read_fault(reader, chain, pins));
    }
    return tables;
}

} // namespace talvor::podsim::description
