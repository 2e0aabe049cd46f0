#include "podsim/description/bsdl_tap.h"

#include "common/bsdl/reader.h"
#include "podsim/model/bsdl_device.h"

#include <algorithm>
#include <filesystem>
#include <memory>
#include <optional>
#include <system_error>
#include <utility>
#include <vector>

namespace talvor::podsim::description {
namespace {

// Only a file can be read to its end.
Status check_file(const std::string& path) {
    std::error_code error;
    const auto status = std::filesystem::status(path, error);
    if (!std::filesystem::exists(status)) {
        return file_error(path, "cannot be read: No such file or directory");
    }
    if (!std::filesystem::is_regular_file(status)) {
        return file_error(path, "cannot be read: it is not a file");
    }
    return {};
}

Result<DeviceDescription> read_device(const TomlReader& reader, const std::string& path) {
    TRY(check_file(path));
    bsdl::ReadOptions options;
    if (reader.has("package")) {
        options.package = reader.text("package", "");
    }
    bsdl::Description read = TRY(bsdl::read_bsdl(path, options));
    for (const bsdl::Finding& finding : read.findings) {
        if (finding.severity == bsdl::Severity::Error) {
            return file_error(path + ":" + std::to_string(finding.place.line), finding.text);
        }
    }
    return device_of(reader.text("name", ""),
                     std::make_shared<bsdl::Device>(std::move(read.device)));
}

// 0, 1 or "Z"; nothing for anything else.
std::optional<Core> core_of(const TomlNode& node) {
    const int64_t* number = node.as<int64_t>();
    if (number != nullptr && (*number == 0 || *number == 1)) {
        return *number == 0 ? Core::Low : Core::High;
    }
    const std::string* text = node.as<std::string>();
    if (text == nullptr) {
        return std::nullopt;
    }
    return *text == "0"                   ? std::optional(Core::Low)
           : *text == "1"                 ? std::optional(Core::High)
           : *text == "Z" || *text == "z" ? std::optional(Core::Off)
                                          : std::nullopt;
}

// A signal, or all of a port.
std::vector<size_t> pins_of(const bsdl::Device& device, const std::string& name) {
    if (const auto pin = find_pin_of(device, name)) {
        return {*pin};
    }
    std::vector<size_t> pins;
    for (size_t i = 0; i < device.signals.size(); ++i) {
        if (same_name(device.signals[i].port, name)) {
            pins.push_back(i);
        }
    }
    return pins;
}

void set_core(const TomlReader& core, const TomlEntry& entry, BoundaryDescription& boundary) {
    const auto level = core_of(entry.node);
    if (!level) {
        core.error(entry.key, "expected 0, 1 or \"Z\"");
        return;
    }
    const std::vector<size_t> pins = pins_of(*boundary.device, entry.key);
    if (pins.empty()) {
        core.error(entry.key,
                   "expected a signal, a port or a package pin of " + boundary.device->name);
    }
    for (const size_t pin : pins) {
        if (const Status possible = check_core(*boundary.device, pin, *level); !possible) {
            core.error(entry.key, possible.error().reason);
            return;
        }
        boundary.core[pin] = *level;
    }
}

} // namespace

DeviceDescription read_bsdl_tap(const TomlReader& reader, const std::string& folder) {
    reader.only({"name", "bsdl", "package", "core"});
    reader.require("name", "a text");
    const std::string path =
        (std::filesystem::path(folder) / reader.text("bsdl", "")).lexically_normal().string();
    Result<DeviceDescription> read = read_device(reader, path);
    if (!read) {
        reader.error("bsdl", headline(read.error()));
        return {};
    }
    DeviceDescription device = *std::move(read);
    if (const auto core = reader.table("core")) {
        if (!device.boundary) {
            reader.error("core", "expected only where the file has a boundary register");
            return device;
        }
        for (const TomlEntry& entry : core->entries()) {
            set_core(*core, entry, *device.boundary);
        }
    }
    return device;
}

} // namespace talvor::podsim::description
