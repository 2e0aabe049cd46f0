#include "tool/commands/chain_text.h"

#include "common/text.h"
#include "tool/commands/values.h"

#include <algorithm>

namespace talvor {
namespace {

std::vector<std::string> device_cells(const ChainDevice& device, size_t number, bool names) {
    std::vector<std::string> cells{fmt::format("{}", number)};
    if (names) {
        cells.push_back(device.name);
    }
    cells.push_back(idcode_text(device.idcode));
    if (device.idcode) {
        const IdCode& code = *device.idcode;
        cells.push_back(fmt::format("0x{:03X} (bank {}, 0x{:02X})", code.manufacturer(),
                                    code.bank(), code.bank_code()));
        cells.push_back(fmt::format("0x{:04X}", code.part()));
        cells.push_back(fmt::format("{}", code.version()));
    } else {
        cells.insert(cells.end(), {"-", "-", "-"});
    }
    cells.push_back(device.instruction_bits == 0 ? "?"
                                                 : fmt::format("{}", device.instruction_bits));
    return cells;
}

TextTable device_table(const Chain& chain) {
    const bool names = std::any_of(chain.devices.begin(), chain.devices.end(),
                                   [](const ChainDevice& device) { return !device.name.empty(); });
    std::vector<std::string> heads{"#"};
    if (names) {
        heads.emplace_back("name");
    }
    heads.insert(heads.end(), {"IDCODE", "manufacturer", "part", "version", "IR bits"});
    TextTable table(std::move(heads));
    for (size_t i = 0; i < chain.devices.size(); ++i) {
        table.add(device_cells(chain.devices[i], i + 1, names));
    }
    return table;
}

Json device_json(const ChainDevice& device, size_t number) {
    Json json{{"number", number}};
    if (!device.name.empty()) {
        json["name"] = device.name;
    }
    if (device.idcode) {
        json["idcode"] = idcode_text(device.idcode);
        json["manufacturer"] = device.idcode->manufacturer();
        json["part"] = device.idcode->part();
        json["version"] = device.idcode->version();
    } else {
        json["idcode"] = nullptr;
    }
    json["instruction_bits"] =
        device.instruction_bits == 0 ? Json(nullptr) : Json(device.instruction_bits);
    return json;
}

} // namespace

std::string idcode_text(const std::optional<IdCode>& idcode) {
    return idcode ? fmt::format("0x{:08X}", idcode->value) : "none";
}

void print_chain(const Output& out, const Chain& chain) {
    out.line("{}", out.tone(Tone::Strong,
                            fmt::format("{}, {}", count_text(chain.devices.size(), "device"),
                                        count_text(chain.instruction_bits(), "instruction bit"))));
    out.table(device_table(chain));
    out.line("Device 1 is nearest TDI, device {} nearest TDO.", chain.devices.size());
    for (size_t i = 0; i < chain.devices.size(); ++i) {
        if (const auto& code = chain.devices[i].idcode; code && !code->legal()) {
            out.line("Device {} has an IDCODE that no device may have.", i + 1);
        }
    }
    if (!chain.lengths_known) {
        out.line(
            "The instruction lengths are ambiguous: the capture {} has {} places where a device "
            "may begin, for {}. Give them with --ir-lengths, nearest TDI first, or as [[device]] "
            "tables in the board file.",
            hex_text(chain.instruction_capture), possible_starts(chain.instruction_capture).size(),
            count_text(chain.devices.size(), "device"));
    }
}

Json to_json(const Chain& chain) {
    Json devices = Json::array();
    for (size_t i = 0; i < chain.devices.size(); ++i) {
        devices.push_back(device_json(chain.devices[i], i + 1));
    }
    return Json{{"devices", std::move(devices)},
                {"instruction_bits", chain.instruction_bits()},
                {"instruction_capture", hex_text(chain.instruction_capture)},
                {"lengths_known", chain.lengths_known}};
}

} // namespace talvor
