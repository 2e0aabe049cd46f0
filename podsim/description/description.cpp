#include "podsim/description/description.h"

#include "common/toml_reader.h"
#include "podsim/description/built_in.h"
#include "podsim/description/chain_reader.h"

#include <array>
#include <filesystem>

namespace talvor::podsim::description {
namespace {

constexpr uint64_t kLargestDelayBits = 64;

struct Kind {
    std::string_view name;
    uint16_t kind;
};
constexpr std::array<Kind, 3> kKinds{
    {{"tbc", eJTI_CONTROL_ID_TBC}, {"exl", eJTI_CONTROL_ID_EXL}, {"dpm", eJTI_CONTROL_ID_DPM}}};

// The number as it stands, with a generation in the high byte.
uint16_t read_revision(const TomlReader& reader) {
    constexpr uint64_t kMost = 0xFFFF;
    const uint64_t revision = reader.integer("revision", POD_REVISION_2, 0, kMost);
    if (!pod_is_generation(pod_revision_major(static_cast<uint32_t>(revision)))) {
        reader.error("revision", "expected the pod's generation, 1 to 4, in the high byte, as in "
                                 "0x0200");
    }
    return static_cast<uint16_t>(revision);
}

uint16_t read_kind(const TomlReader& reader) {
    const std::string name = reader.text("controller", "tbc");
    for (const Kind& kind : kKinds) {
        if (kind.name == name) {
            return kind.kind;
        }
    }
    reader.error("controller", "expected tbc, exl or dpm, found \"" + name + "\"");
    return eJTI_CONTROL_ID_TBC;
}

ControllerSettings read_controller(const TomlReader& reader) {
    ControllerSettings settings;
    settings.revision = read_revision(reader);
    settings.kind = read_kind(reader);
    settings.utility_revision =
        static_cast<unsigned>(reader.integer("utility_revision", settings.utility_revision, 1, 8));
    settings.return_pipeline_bits = static_cast<unsigned>(
        reader.integer("return_pipeline", settings.return_pipeline_bits, 0, kLargestDelayBits));
    settings.cable_delay_bits = static_cast<unsigned>(
        reader.integer("cable_delay", settings.cable_delay_bits, 0, LINK_DELAY_MAXIMUM));
    settings.max_tck_hz =
        static_cast<uint32_t>(reader.integer("max_tck_hz", settings.max_tck_hz, 0, UINT32_MAX));
    settings.strict = reader.boolean("strict", settings.strict);
    return settings;
}

std::vector<control::Command> read_faults(const TomlReader& reader) {
    std::vector<control::Command> faults;
    for (const std::string& line : reader.texts("faults")) {
        const auto command = control::parse(line);
        if (!command) {
            reader.error("faults", headline(command.error()));
        } else if (command->serial || control::is_question(command->verb)) {
            reader.error("faults", "expected faults of this pod, found \"" + line + "\"");
        } else {
            faults.push_back(*command);
        }
    }
    return faults;
}

TargetProtocol read_protocol(const TomlReader& reader) {
    const std::string name = reader.text("target_protocol", "remote_bitbang");
    for (const TargetProtocolName& each : kTargetProtocols) {
        if (each.name == name) {
            return each.protocol;
        }
    }
    reader.error("target_protocol",
                 "expected remote_bitbang, xvc or jtag_vpi, found \"" + name + "\"");
    return TargetProtocol::RemoteBitbang;
}

External read_external(const TomlReader& reader) {
    External external{.address = reader.text("target", "")};
    external.protocol = read_protocol(reader);
    external.send_resets = reader.boolean("target_resets", external.send_resets);
    external.quit = reader.boolean("target_quit", external.quit);
    for (const char* key : {"target_resets", "target_quit"}) {
        if (external.protocol == TargetProtocol::Xvc && reader.has(key)) {
            reader.error(key, "expected only with remote_bitbang or jtag_vpi, for xvc has no "
                              "request for it");
        }
    }
    constexpr uint64_t kHourMs = 3'600'000;
    external.patience = std::chrono::milliseconds(reader.integer(
        "target_patience_ms", static_cast<uint64_t>(external.patience.count()), 1, kHourMs));
    if (reader.has("tap") || reader.has("net")) {
        reader.error("target", "expected no tap and no net beside an external target");
    }
    for (const char* key : {"fault", "floating"}) {
        if (reader.has(key)) {
            reader.error(key, "expected only without target");
        }
    }
    return external;
}

Pod read_pod(const TomlReader& reader, const std::string& folder, const TomlErrors& errors) {
    reader.only({"serial", "revision", "controller", "utility_revision", "cable_delay",
                 "return_pipeline", "max_tck_hz", "strict", "faults", "tap", "net", "fault",
                 "floating", "target", "target_protocol", "target_resets", "target_quit",
                 "target_patience_ms"});
    reader.require("serial", "the pod's serial number");
    Pod pod;
    pod.serial = static_cast<uint32_t>(reader.integer("serial", 0, 0, UINT32_MAX));
    pod.controller = read_controller(reader);
    pod.faults = read_faults(reader);
    if (reader.has("target")) {
        pod.target = read_external(reader);
    } else {
        for (const char* key :
             {"target_protocol", "target_resets", "target_quit", "target_patience_ms"}) {
            if (reader.has(key)) {
                reader.error(key, "expected only with target");
            }
        }
        pod.target = read_chain(reader, folder, errors);
    }
    return pod;
}

void check_serials(const Description& description, const std::vector<TomlReader>& pods) {
    for (size_t i = 0; i < pods.size(); ++i) {
        for (size_t other = 0; other < i; ++other) {
            if (description.pods[i].serial == description.pods[other].serial) {
                pods[i].error("serial", "expected a serial number of its own, found " +
                                            std::to_string(description.pods[i].serial) + " again");
            }
        }
    }
}

} // namespace

Result<Description> parse(std::string_view text, const std::string& name) {
    const TomlNode parsed = TRY(parse_toml(text, name));
    TomlErrors errors(name);
    const TomlReader root(parsed, "", errors);
    root.only({"pod"});
    root.require("pod", "at least one pod, written [[pod]]");
    Description description;
    const std::vector<TomlReader> pods = root.tables("pod");
    const std::string folder = std::filesystem::path(name).parent_path().string();
    for (const TomlReader& pod : pods) {
        description.pods.push_back(read_pod(pod, folder, errors));
    }
    check_serials(description, pods);
    TRY(errors.status());
    return description;
}

Result<Description> read(const std::string& path) {
    return parse(TRY(read_text_file(path)), path);
}

Description built_in() {
    return *parse(kSingleText, "built-in description");
}

std::string_view built_in_text(std::string_view name) {
    return name == "single" ? kSingleText : name == "five" ? kFiveText : std::string_view();
}

} // namespace talvor::podsim::description
