#include "podsim/description/description.h"

#include "podsim/base/system_error.h"
#include "podsim/description/built_in.h"
#include "podsim/description/reader.h"

#include <algorithm>
#include <array>
#include <fstream>
#include <sstream>

namespace podsim::description {
namespace {

constexpr std::uint64_t largest_integer = INT64_MAX;
constexpr std::uint64_t largest_delay_bits = 64;
constexpr std::uint64_t first_generation = 1;
constexpr std::uint64_t last_generation = 4;

struct Kind {
    std::string_view name;
    std::uint16_t kind;
};
constexpr std::array<Kind, 3> kinds{
    {{"tbc", eJTI_CONTROL_ID_TBC}, {"exl", eJTI_CONTROL_ID_EXL}, {"dpm", eJTI_CONTROL_ID_DPM}}};

// ---- registers of a TAP -----------------------------------------------------------------------

std::uint64_t length_of(const Reader& reader, std::uint64_t fallback) {
    return reader.integer("length", fallback, 1, kMaxRegisterBits);
}

ConstantRegister constant_register(const Reader& reader) {
    reader.only({"name", "kind", "instruction", "length", "value"});
    ConstantRegister constant{.bits = length_of(reader, 32), .value = {}};
    constant.value = reader.wide("value", constant.bits);
    return constant;
}

ScratchRegister scratch_register(const Reader& reader) {
    reader.only({"name", "kind", "instruction", "length", "value"});
    ScratchRegister scratch{.bits = length_of(reader, 32), .value = {}};
    scratch.value = reader.wide("value", scratch.bits);
    return scratch;
}

CounterRegister counter_register(const Reader& reader) {
    reader.only({"name", "kind", "instruction", "length"});
    return {.bits = length_of(reader, 32)};
}

MemoryRegister memory_register(const Reader& reader) {
    reader.only({"name", "kind", "instruction", "address_bits", "data_bits", "words"});
    MemoryRegister memory;
    memory.address_bits =
        static_cast<unsigned>(reader.integer("address_bits", 8, 1, kMaxAddressBits));
    memory.data_bits = static_cast<unsigned>(reader.integer("data_bits", 32, 1, kMaxDataBits));
    const std::uint64_t most = std::uint64_t{1} << memory.address_bits;
    memory.words = reader.integer("words", most, 1, most);
    return memory;
}

BoundaryRegister boundary_register(const Reader& reader, std::uint64_t largest_instruction) {
    reader.only({"name", "kind", "extest", "sample", "pin"});
    reader.require("sample", "the instruction SAMPLE");
    reader.require("pin", "the pins, written [[" + reader.path() + ".pin]]");
    BoundaryRegister boundary;
    boundary.extest = reader.integer("extest", 0, 0, largest_instruction);
    boundary.sample = reader.integer("sample", 0, 0, largest_instruction);
    for (const Reader& pin : reader.tables("pin")) {
        pin.only({"name", "output", "level"});
        pin.require("name", "a text");
        boundary.pins.push_back(
            {pin.text("name", ""), pin.boolean("output", false), pin.boolean("level", false)});
    }
    return boundary;
}

RegisterDescription read_register(const Reader& reader, std::uint64_t largest_instruction) {
    reader.require("name", "a text");
    reader.require("kind", "constant, scratch, counter, memory or boundary");
    RegisterDescription description{
        .name = reader.text("name", ""), .instructions = {}, .kind = {}};
    const std::string kind = reader.text("kind", "scratch");
    if (kind == "boundary") {
        description.kind = boundary_register(reader, largest_instruction);
        return description;
    }
    if (kind == "constant") {
        description.kind = constant_register(reader);
    } else if (kind == "scratch") {
        description.kind = scratch_register(reader);
    } else if (kind == "counter") {
        description.kind = counter_register(reader);
    } else if (kind == "memory") {
        description.kind = memory_register(reader);
    } else {
        reader.error("kind", "expected constant, scratch, counter, memory or boundary, found \"" +
                                 kind + "\"");
    }
    reader.require("instruction", "the instruction that selects the register, or several");
    description.instructions = reader.integers("instruction", largest_instruction);
    return description;
}

// ---- TAPs and nets ----------------------------------------------------------------------------

// All ones, as far as TOML's integers reach.
std::uint64_t largest_instruction_of(unsigned bits) {
    return bits >= 63 ? largest_integer : (std::uint64_t{1} << bits) - 1;
}

DeviceDescription read_tap(const Reader& reader) {
    reader.only({"name", "ir_length", "ir_capture", "idcode", "idcode_instruction", "register"});
    reader.require("name", "a text");
    reader.require("ir_length", "the length of the instruction register in bits");
    DeviceDescription device;
    device.name = reader.text("name", "");
    device.instruction_bits = static_cast<unsigned>(
        reader.integer("ir_length", 4, kMinInstructionBits, kMaxInstructionBits));
    const std::uint64_t largest = largest_instruction_of(device.instruction_bits);
    device.instruction_capture = reader.integer("ir_capture", 1, 0, largest);
    if (reader.has("idcode")) {
        device.idcode = static_cast<std::uint32_t>(reader.integer("idcode", 1, 0, UINT32_MAX));
        reader.require("idcode_instruction", "the instruction IDCODE of a TAP with an idcode");
        device.idcode_instruction = reader.integer("idcode_instruction", 0, 0, largest);
    } else if (reader.has("idcode_instruction")) {
        reader.error("idcode_instruction", "expected only with idcode");
    }
    for (const Reader& one : reader.tables("register")) {
        device.registers.push_back(read_register(one, largest));
    }
    return device;
}

struct PinPlace {
    std::size_t device;
    std::size_t pin;
};

// "tap.pin".
std::optional<PinPlace> find_pin(const ChainDescription& chain, const std::string& text) {
    for (std::size_t device = 0; device < chain.devices.size(); ++device) {
        for (const RegisterDescription& one : chain.devices[device].registers) {
            const auto* boundary = std::get_if<BoundaryRegister>(&one.kind);
            for (std::size_t pin = 0; boundary != nullptr && pin < boundary->pins.size(); ++pin) {
                if (chain.devices[device].name + "." + boundary->pins[pin].name == text) {
                    return PinPlace{device, pin};
                }
            }
        }
    }
    return std::nullopt;
}

PinPlace read_pin(const Reader& reader, std::string_view key, const ChainDescription& chain) {
    reader.require(key, "a pin, written \"tap.pin\"");
    const std::string text = reader.text(key, "");
    const auto place = find_pin(chain, text);
    if (!place) {
        reader.error(key,
                     "expected a pin of this chain, written \"tap.pin\", found \"" + text + "\"");
    }
    return place.value_or(PinPlace{0, 0});
}

// The key of the file that stands for a field of the model's description.
std::string key_of(const DescriptionError& error) {
    struct Name {
        std::string_view field;
        std::string_view key;
    };
    static constexpr std::array<Name, 9> names{{
        {"instruction_bits", "ir_length"},
        {"instruction_capture", "ir_capture"},
        {"instructions", "instruction"},
        {"bits", "length"},
        {"pins", "pin"},
        {"from_device", "from"},
        {"from_pin", "from"},
        {"to_device", "to"},
        {"to_pin", "to"},
    }};
    for (const Name& name : names) {
        if (name.field == error.key) {
            return std::string(name.key);
        }
    }
    return error.key;
}

// What the model does not accept, at its place in the file.
void report(const DescriptionError& found, const std::vector<Reader>& taps,
            const std::vector<Reader>& nets) {
    const std::string text = "expected " + found.expected;
    if (found.where == DescriptionError::Where::Net) {
        nets[found.device].error(key_of(found), text);
    } else if (found.where == DescriptionError::Where::Register) {
        taps[found.device].tables("register")[found.index].error(key_of(found), text);
    } else {
        taps[found.device].error(key_of(found), text);
    }
}

void check_names(const ChainDescription& chain, const std::vector<Reader>& taps) {
    for (std::size_t i = 0; i < chain.devices.size(); ++i) {
        for (std::size_t other = 0; other < i; ++other) {
            if (chain.devices[i].name == chain.devices[other].name) {
                taps[i].error("name", "expected a name of its own, found \"" +
                                          chain.devices[i].name + "\" again");
            }
        }
    }
}

ChainDescription read_chain(const Reader& pod, const Errors& errors) {
    ChainDescription chain;
    const std::vector<Reader> taps = pod.tables("tap");
    for (const Reader& tap : taps) {
        chain.devices.push_back(read_tap(tap));
    }
    check_names(chain, taps);
    const std::vector<Reader> nets = pod.tables("net");
    for (const Reader& net : nets) {
        net.only({"from", "to"});
        const PinPlace from = read_pin(net, "from", chain);
        const PinPlace to = read_pin(net, "to", chain);
        chain.nets.push_back({from.device, from.pin, to.device, to.pin});
    }
    if (errors.any()) {
        return chain;
    }
    if (const auto error = check(chain)) {
        report(*error, taps, nets);
    }
    return chain;
}

// ---- pods -------------------------------------------------------------------------------------

// "2.0", or the number itself.
std::uint16_t read_revision(const Reader& reader) {
    constexpr std::uint64_t most = 0xFFFF;
    const std::uint64_t revision = reader.integer("revision", POD_REVISION_2, 0, most);
    const std::uint64_t generation = revision >> 8U;
    if (generation < first_generation || generation > last_generation) {
        reader.error("revision", "expected the pod's generation, 1 to 4, in the high byte, as in "
                                 "0x0200");
    }
    return static_cast<std::uint16_t>(revision);
}

std::uint16_t read_kind(const Reader& reader) {
    const std::string name = reader.text("controller", "tbc");
    for (const Kind& kind : kinds) {
        if (kind.name == name) {
            return kind.kind;
        }
    }
    reader.error("controller", "expected tbc, exl or dpm, found \"" + name + "\"");
    return eJTI_CONTROL_ID_TBC;
}

ControllerSettings read_controller(const Reader& reader) {
    ControllerSettings settings;
    settings.revision = read_revision(reader);
    settings.kind = read_kind(reader);
    settings.utility_revision =
        static_cast<unsigned>(reader.integer("utility_revision", settings.utility_revision, 1, 8));
    settings.return_pipeline_bits = static_cast<unsigned>(
        reader.integer("return_pipeline", settings.return_pipeline_bits, 0, largest_delay_bits));
    settings.cable_delay_bits = static_cast<unsigned>(
        reader.integer("cable_delay", settings.cable_delay_bits, 0, LINK_DELAY_MAXIMUM));
    settings.max_tck_hz = static_cast<std::uint32_t>(
        reader.integer("max_tck_hz", settings.max_tck_hz, 0, UINT32_MAX));
    settings.strict = reader.boolean("strict", settings.strict);
    return settings;
}

std::vector<control::Command> read_faults(const Reader& reader) {
    std::vector<control::Command> faults;
    for (const std::string& line : reader.texts("faults")) {
        const auto command = control::parse(line);
        if (command.failed()) {
            reader.error("faults", command.reason());
        } else if (command.value().serial || command.value().verb == control::Verb::Status) {
            reader.error("faults", "expected faults of this pod, found \"" + line + "\"");
        } else {
            faults.push_back(command.value());
        }
    }
    return faults;
}

External read_external(const Reader& reader) {
    External external{.address = reader.text("target", "")};
    external.send_resets = reader.boolean("target_resets", external.send_resets);
    constexpr std::uint64_t hour_ms = 3'600'000;
    external.patience = std::chrono::milliseconds(reader.integer(
        "target_patience_ms", static_cast<std::uint64_t>(external.patience.count()), 1, hour_ms));
    if (reader.has("tap") || reader.has("net")) {
        reader.error("target", "expected no tap and no net beside an external target");
    }
    return external;
}

Pod read_pod(const Reader& reader, const Errors& errors) {
    reader.only({"serial", "revision", "controller", "utility_revision", "cable_delay",
                 "return_pipeline", "max_tck_hz", "strict", "faults", "tap", "net", "target",
                 "target_resets", "target_patience_ms"});
    reader.require("serial", "the pod's serial number");
    Pod pod;
    pod.serial = static_cast<std::uint32_t>(reader.integer("serial", 0, 0, UINT32_MAX));
    pod.controller = read_controller(reader);
    pod.faults = read_faults(reader);
    if (reader.has("target")) {
        pod.target = read_external(reader);
    } else {
        for (const char* key : {"target_resets", "target_patience_ms"}) {
            if (reader.has(key)) {
                reader.error(key, "expected only with target");
            }
        }
        pod.target = read_chain(reader, errors);
    }
    return pod;
}

void check_serials(const Description& description, const std::vector<Reader>& pods) {
    for (std::size_t i = 0; i < pods.size(); ++i) {
        for (std::size_t other = 0; other < i; ++other) {
            if (description.pods[i].serial == description.pods[other].serial) {
                pods[i].error("serial", "expected a serial number of its own, found " +
                                            std::to_string(description.pods[i].serial) + " again");
            }
        }
    }
}

} // namespace

Result<Description> parse(std::string_view text, const std::string& name) {
    const toml::parse_result parsed = toml::parse(text, name);
    if (!parsed) {
        const toml::parse_error& error = parsed.error();
        return Status::failure(name + ":" + std::to_string(error.source().begin.line) + ": " +
                               std::string(error.description()));
    }
    Errors errors(name);
    const Reader root(parsed.table(), "", errors);
    root.only({"pod"});
    root.require("pod", "at least one pod, written [[pod]]");
    Description description;
    const std::vector<Reader> pods = root.tables("pod");
    for (const Reader& pod : pods) {
        description.pods.push_back(read_pod(pod, errors));
    }
    check_serials(description, pods);
    if (errors.any()) {
        return Status::failure(errors.first());
    }
    return description;
}

Result<Description> read(const std::string& path) {
    std::ifstream file(path);
    std::ostringstream text;
    if (!file || !(text << file.rdbuf())) {
        return system_failure("reading the description " + path);
    }
    return parse(text.str(), path);
}

Description built_in() {
    return parse(built_in_text, "built-in description").value();
}

} // namespace podsim::description
