#include "tool/commands/chain_text.h"

#include "common/text.h"
#include "host/chain/descriptions.h"
#include "tool/commands/values.h"

#include <fmt/ranges.h>

#include <algorithm>

namespace talvor {
namespace {

PartName name_of(const ChainDevice& device, const PartNames& names) {
    return device.idcode ? names.find(*device.idcode) : PartName();
}

// A code, and behind it the name that it stands for, or what else there is to say.
std::string with_name(const std::string& code, const std::string& name,
                      const std::string& otherwise = "") {
    return code + (name.empty() ? otherwise : " " + name);
}

std::vector<std::string> device_cells(const ChainDevice& device, const PartName& known,
                                      size_t number, bool named) {
    std::vector<std::string> cells{fmt::format("{}", number)};
    if (named) {
        cells.push_back(device.name);
    }
    cells.push_back(idcode_text(device.idcode));
    if (device.idcode) {
        const IdCode& code = *device.idcode;
        cells.push_back(
            with_name(fmt::format("0x{:03X}", code.manufacturer()), known.manufacturer,
                      fmt::format(" (bank {}, 0x{:02X})", code.bank(), code.bank_code())));
        cells.push_back(with_name(fmt::format("0x{:04X}", code.part()), known.part));
        cells.push_back(with_name(fmt::format("{}", code.version()), known.stepping));
    } else {
        cells.insert(cells.end(), {"-", "-", "-"});
    }
    cells.push_back(device.instruction_bits == 0 ? "?"
                                                 : fmt::format("{}", device.instruction_bits));
    return cells;
}

TextTable device_table(const Chain& chain, const PartNames& names) {
    const bool named = std::any_of(chain.devices.begin(), chain.devices.end(),
                                   [](const ChainDevice& device) { return !device.name.empty(); });
    std::vector<std::string> heads{"#"};
    if (named) {
        heads.emplace_back("name");
    }
    heads.insert(heads.end(), {"IDCODE", "manufacturer", "part", "version", "IR bits"});
    TextTable table(std::move(heads));
    for (size_t i = 0; i < chain.devices.size(); ++i) {
        const ChainDevice& device = chain.devices[i];
        table.add(device_cells(device, name_of(device, names), i + 1, named));
    }
    return table;
}

// Names that are unknown have no member.
void add_names(Json& json, const PartName& known) {
    struct Member {
        const char* key;
        const std::string& name;
    };
    for (const Member& one :
         {Member{"manufacturer_name", known.manufacturer}, Member{"part_name", known.part},
          Member{"stepping", known.stepping}}) {
        if (!one.name.empty()) {
            json[one.key] = one.name;
        }
    }
}

Json device_json(const ChainDevice& device, const PartName& known, size_t number) {
    Json json{{"number", number}};
    if (!device.name.empty()) {
        json["name"] = device.name;
    }
    if (device.idcode) {
        json["idcode"] = idcode_text(device.idcode);
        json["manufacturer"] = device.idcode->manufacturer();
        json["part"] = device.idcode->part();
        json["version"] = device.idcode->version();
        add_names(json, known);
    } else {
        json["idcode"] = nullptr;
    }
    json["instruction_bits"] =
        device.instruction_bits == 0 ? Json(nullptr) : Json(device.instruction_bits);
    return json;
}

// What the file of a device says, and what the target says to it.
void print_descriptions(const Output& out, const Chain& chain) {
    for (size_t i = 0; i < chain.devices.size(); ++i) {
        const ChainDevice& device = chain.devices[i];
        if (!device.description) {
            continue;
        }
        const DescriptionCheck check = check_description(chain, i);
        const std::string matches = fmt::format("{}", fmt::join(check.matches, ", "));
        out.line("Device {}: {} of {}: {}.", i + 1, device.description->name,
                 device.description_file, matches.empty() ? "nothing matches" : matches + " match");
        for (const std::string& contradiction : check.contradictions) {
            out.line("  {}", out.tone(Tone::Bad, "Contradiction: " + contradiction + "."));
        }
        if (!device.other_files.empty()) {
            out.line("  {} would fit as well; name one of them in the board file to take it.",
                     fmt::join(device.other_files, ", "));
        }
    }
}

Json text_array(const std::vector<std::string>& texts) {
    Json array = Json::array();
    for (const std::string& text : texts) {
        array.push_back(text);
    }
    return array;
}

Json description_json(const Chain& chain, size_t index) {
    const ChainDevice& device = chain.devices[index];
    const DescriptionCheck check = check_description(chain, index);
    return {{"file", device.description_file},
            {"entity", device.description->name},
            {"matches", text_array(check.matches)},
            {"contradictions", text_array(check.contradictions)},
            {"other_files", text_array(device.other_files)}};
}

} // namespace

std::string idcode_text(const std::optional<IdCode>& idcode) {
    return idcode ? fmt::format("0x{:08X}", idcode->value) : "none";
}

void print_chain(const Output& out, const Chain& chain, const PartNames& names) {
    out.line("{}", out.tone(Tone::Strong,
                            fmt::format("{}, {}", count_text(chain.devices.size(), "device"),
                                        count_text(chain.instruction_bits(), "instruction bit"))));
    out.table(device_table(chain, names));
    out.line("Device 1 is nearest TDI, device {} nearest TDO.", chain.devices.size());
    for (size_t i = 0; i < chain.devices.size(); ++i) {
        if (const auto& code = chain.devices[i].idcode; code && !code->legal()) {
            out.line("Device {} has an IDCODE that no device may have.", i + 1);
        }
    }
    print_descriptions(out, chain);
    if (!chain.lengths_known) {
        out.line(
            "The instruction lengths are ambiguous: the capture {} has {} places where a device "
            "may begin, for {}. Give them with --ir-lengths, nearest TDI first, or as [[device]] "
            "tables in the board file.",
            hex_text(chain.instruction_capture), possible_starts(chain.instruction_capture).size(),
            count_text(chain.devices.size(), "device"));
    }
}

Json to_json(const Chain& chain, const PartNames& names) {
    Json devices = Json::array();
    for (size_t i = 0; i < chain.devices.size(); ++i) {
        const ChainDevice& device = chain.devices[i];
        Json json = device_json(device, name_of(device, names), i + 1);
        if (device.description) {
            json["bsdl"] = description_json(chain, i);
        }
        devices.push_back(std::move(json));
    }
    return Json{{"devices", std::move(devices)},
                {"instruction_bits", chain.instruction_bits()},
                {"instruction_capture", hex_text(chain.instruction_capture)},
                {"lengths_known", chain.lengths_known}};
}

} // namespace talvor
