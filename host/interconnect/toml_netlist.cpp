#include "host/interconnect/toml_netlist.h"

#include "common/toml_reader.h"

#include <fmt/format.h>

#include <algorithm>
#include <optional>
#include <utility>

namespace talvor::interconnect {
namespace {

// The entries as they stand in the file, not by their keys.
std::vector<const TomlEntry*> in_order(const TomlTable& table) {
    std::vector<const TomlEntry*> entries;
    entries.reserve(table.size());
    for (const TomlEntry& entry : table) {
        entries.push_back(&entry);
    }
    std::stable_sort(entries.begin(), entries.end(),
                     [](const TomlEntry* a, const TomlEntry* b) { return a->line < b->line; });
    return entries;
}

// "u1.PA0"; nothing where it is none.
std::optional<NetPin> pin_of(const TomlNode& node) {
    const auto* text = node.as<std::string>();
    if (text == nullptr) {
        return std::nullopt;
    }
    const size_t dot = text->find('.');
    if (dot == std::string::npos || dot == 0 || dot + 1 == text->size()) {
        return std::nullopt;
    }
    return NetPin{text->substr(0, dot), text->substr(dot + 1), node.line};
}

constexpr const char* kPinsExpected = "expected pins, as in [\"u1.PA0\", \"u2.14\"]";

Net read_net(const TomlReader& table, const TomlEntry& entry) {
    Net net{entry.key, {}, entry.line};
    const auto* pins = entry.node.as<TomlArray>();
    if (pins == nullptr) {
        table.error(entry.key, kPinsExpected);
        return net;
    }
    for (const TomlNode& node : *pins) {
        if (std::optional<NetPin> pin = pin_of(node)) {
            net.pins.push_back(*std::move(pin));
        } else {
            table.error(entry.key, kPinsExpected);
        }
    }
    return net;
}

void read_nets(const TomlReader& table, Netlist& netlist) {
    size_t pins = 0;
    for (const TomlEntry* entry : in_order(table.entries())) {
        netlist.nets.push_back(read_net(table, *entry));
        pins += netlist.nets.back().pins.size();
    }
    if (netlist.nets.size() > kMostNets || pins > kMostPins) {
        table.error("", fmt::format("more than {} nets or {} pins", kMostNets, kMostPins));
    }
}

void read_devices(const TomlReader& table, Netlist& netlist) {
    for (const TomlEntry* entry : in_order(table.entries())) {
        if (const auto* device = entry->node.as<std::string>()) {
            netlist.devices.push_back({entry->key, *device, entry->line});
        } else if (const auto* number = entry->node.as<int64_t>()) {
            netlist.devices.push_back({entry->key, std::to_string(*number), entry->line});
        } else {
            table.error(entry->key, "expected the name of a device of the chain, or its number");
        }
    }
}

} // namespace

Result<Netlist> parse_toml_netlist(std::string_view text, const std::string& name) {
    const TomlNode root_node = TRY(parse_toml(text, name));
    Netlist netlist;
    netlist.file = name;
    TomlErrors errors(name);
    const TomlReader root(root_node, "", errors);
    root.only({"nets", "devices", "passive"});
    root.require("nets", "a table of nets, as in nets.reset_n = [\"u1.PA0\", \"u2.14\"]");
    if (const std::optional<TomlReader> nets = root.table("nets")) {
        read_nets(*nets, netlist);
    }
    if (const std::optional<TomlReader> devices = root.table("devices")) {
        read_devices(*devices, netlist);
    }
    netlist.passive = root.texts("passive");
    TRY(errors.status());
    return netlist;
}

} // namespace talvor::interconnect
